#pragma once
// The user's own identity. It is made once, as one change of the profile, and it is recognised
// by the private key the profile holds, not by the settings alone: settings that are lost, cut
// short or wrong must never turn the own certificate into an ordinary contact, since removing
// or replacing it would make every package ever sent to the user unreadable.

#include <string>

#include "contacts/ConfigStore.h"
#include "contacts/ContactRecord.h"
#include "engine/EngineStatus.h"

class RecipientsStore;

struct OwnerCheck {
    // The settings file exists but isn't readable settings; it is left as it is.
    bool settingsUnreadable = false;
    // The owner's name: the one in the settings, or the one recognised by the key.
    std::u16string ownerName;
    // The settings didn't name the identity whose key the profile holds; `ownerName` is that
    // identity's name, and `written` says whether it was put back into the settings.
    bool restored = false;
    bool written = false;
};

// Loads `config` from `path` and finds the owner. Where the settings hold no owner name, or one
// without its private key here, the identity is recognised by the key, and its name is written
// back when the settings file can be written (under the profile's exclusive lock).
OwnerCheck recogniseOwner(ConfigStore& config, const std::u16string& path);

// Makes the own identity for `record.name` (certificate and key, contact, owner name in the
// settings) as one change: on any failure nothing of it stays, a key made for it included.
// `record.identity` is set on success. The status says why it failed.
EngineStatus createOwnIdentity(RecipientsStore& store, ConfigStore& config, ContactRecord& record);

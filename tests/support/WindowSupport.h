#pragma once
// What the tests of the main window share: a profile of their own, and the first start answered
// as a user goes through it.

#include <QString>
#include <filesystem>
#include <functional>

#include "TestSupport.h"
#include "crypto/CertificateStore.h"
#include "platform/Profile.h"
#include "ui/Dialogs.h"
#include "ui/contacts/ContactDetailsDlg.h"

namespace testing_support {

// Points the program at `folder` as its profile, with nothing left open from the one before.
inline void useProfile(const std::filesystem::path& folder)
{
    platform::setProfileDirectory(u16(folder));
    closeCertificateStore();
}

// Answers the next first-start dialog with the name typed in; `more` may fill other fields.
inline void answerFirstStartAs(const QString& name, std::function<void(ContactDetailsDlg&)> more = {})
{
    Dialogs::testing::answer([name, more](QDialog& dialog) {
        auto& details = static_cast<ContactDetailsDlg&>(dialog);
        details.setContactName(name);
        if (more)
            more(details);
        return int(ContactDetailsDlg::Ok);
    });
}

} // namespace testing_support

// Saves both stores of a profile over and over, alternating two contents, until it is killed.
// The hardening tests kill it at random moments and check that the files always load.
//   halvoren_store_writer PROFILE

#include <cstdio>
#include <string>
#include <vector>

#include "contacts/ConfigStore.h"
#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "platform/Utf.h"

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    platform::setProfileDirectory(platform::fromUtf8(argv[1]));
    ConfigStore config;
    RecipientsStore recipients;
    std::vector<ContactRecord> contacts;
    if (!config.load(configPath()).ok() || !recipients.load(contacts, recipientsPath()).ok() || contacts.empty())
        return 1;
    // Long values make each save take a while, so that kills land inside saves.
    const std::u16string values[2] = {u"first" + std::u16string(20000, u'1'), u"second" + std::u16string(30000, u'2')};
    for (unsigned long round = 0;; ++round) {
        const std::u16string& value = values[round % 2];
        if (!config.setString(u"Probe", value))
            return 1;
        contacts.front().comments = value;
        if (!recipients.update(contacts.front()).ok())
            return 1;
    }
}

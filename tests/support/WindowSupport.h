#pragma once
// What the tests of the main window share: a profile of their own, the first start answered as a
// user goes through it, and drops onto the window.

#include <QDialogButtonBox>
#include <QPushButton>
#include <QString>
#include <QTest>
#include <filesystem>
#include <functional>

#include "QtTestSupport.h"
#include "TestSupport.h"
#include "crypto/CertificateStore.h"
#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "ui/Dialogs.h"
#include "ui/MainWindow.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui_MainWindow.h"

namespace testing_support {

namespace answers = Dialogs::testing;

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

// Moves the contact of that name, or every contact, to the recipients, as the arrow button does.
inline void toRecipients(MainWindow& window, const QString& name = QStringLiteral("*"))
{
    KvxListWidget* contacts = window.form()->contactListWidget;
    contacts->clearSelection();
    for (QListWidgetItem* item : contacts->findItems(name, Qt::MatchWildcard))
        item->setSelected(true);
    window.form()->contactManButtonBox->button(QDialogButtonBox::Ok)->click();
    QCoreApplication::processEvents();
}

inline QUrl fileUrl(const std::filesystem::path& path) { return QUrl::fromLocalFile(qpath(path)); }

// Drops the URLs on the window's drop area, which alone takes a drag, and so must be laid out.
// False if the window turned them down.
inline bool dropOnWindow(MainWindow& window, const QList<QUrl>& urls)
{
    window.show();
    return dropFromOutside(window, *window.form()->dropBoxLabel, urls);
}

} // namespace testing_support

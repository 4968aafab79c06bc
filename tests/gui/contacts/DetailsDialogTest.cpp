// ContactDetailsDlg on its own: the form, OK rules of its three uses, edit tracking and results.

#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>

#include "ContactsFixture.h"
#include "ui/contacts/ContactDetailsDlg.h"

namespace {

QLineEdit* edit(ContactDetailsDlg& dialog, const char* name) { return dialog.findChild<QLineEdit*>(name); }
QPushButton* okButton(ContactDetailsDlg& dialog) { return dialog.findChild<QPushButton*>("OKButton"); }
QTextEdit* comments(ContactDetailsDlg& dialog) { return dialog.findChild<QTextEdit*>("CommentsTE"); }

} // namespace

class DetailsDialogTest : public QObject {
    Q_OBJECT

private slots:
    void firstStartOkFollowsTheTypedName()
    {
        ContactDetailsDlg dialog;
        dialog.setWindowTitle(QStringLiteral("Enter Your Own Contact Information"));
        dialog.setOkEnabled(false);
        dialog.show();
        QLineEdit* name = edit(dialog, "ContactNameLE");
        QVERIFY(!okButton(dialog)->isEnabled());

        // Without edit tracking no other field opens the way.
        QTest::keyClicks(edit(dialog, "FirstNameLE"), QStringLiteral("Ann"));
        QVERIFY(!okButton(dialog)->isEnabled());

        QTest::keyClicks(name, QStringLiteral("  "));
        QVERIFY2(okButton(dialog)->isEnabled(), "blanks are a name too");
        QTest::keyClick(name, Qt::Key_Backspace);
        QTest::keyClick(name, Qt::Key_Backspace);
        QVERIFY(!okButton(dialog)->isEnabled());
        QTest::keyClicks(name, QStringLiteral("Ann"));
        QVERIFY(okButton(dialog)->isEnabled());

        QTest::mouseClick(okButton(dialog), Qt::LeftButton);
        QCOMPARE(dialog.result(), int(ContactDetailsDlg::Ok));
        QCOMPARE(dialog.details().name, QStringLiteral("Ann"));
        QCOMPARE(dialog.details().firstName, QStringLiteral("Ann"));

        // Every other way out is no acceptance.
        dialog.show();
        QTest::mouseClick(dialog.findChild<QPushButton*>("CancelButton"), Qt::LeftButton);
        QCOMPARE(dialog.result(), int(ContactDetailsDlg::Cancelled));
        dialog.setResult(ContactDetailsDlg::Ok);
        dialog.show();
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(dialog.isHidden());
        QCOMPARE(dialog.result(), int(ContactDetailsDlg::Cancelled));
    }

    void editTrackingOffersOkOnlyForRealChanges()
    {
        ContactDetailsDlg dialog;
        const QString initial = QStringLiteral("line one <b>not bold</b>\nline two");
        dialog.setDetails({ "Bob", "Robert", "Builder", "Acme", "bob@example.org", initial });
        QCOMPARE(dialog.details().comments, initial);
        dialog.setNameReadOnly(true);
        dialog.setEditTracking(true);
        dialog.setOkEnabled(false);
        dialog.show();
        QVERIFY(edit(dialog, "ContactNameLE")->isReadOnly());
        QVERIFY(!okButton(dialog)->isEnabled());

        QLineEdit* first = edit(dialog, "FirstNameLE");
        first->setFocus();
        QTest::keyClick(first, Qt::Key_X);
        QVERIFY(okButton(dialog)->isEnabled());
        QCOMPARE(dialog.changedFields(), std::uint32_t(ContactDetailsDlg::FirstNameChanged));
        QTest::keyClick(first, Qt::Key_Backspace);
        QVERIFY2(!okButton(dialog)->isEnabled(), "a change taken back is no change");
        QCOMPARE(dialog.changedFields(), std::uint32_t(0));

        // Two changed fields, one taken back: still a change.
        QTest::keyClicks(edit(dialog, "LastNameLE"), QStringLiteral("s"));
        QTest::keyClicks(edit(dialog, "EMailLE"), QStringLiteral("m"));
        QTest::keyClicks(edit(dialog, "OrganizationLE"), QStringLiteral("!"));
        QCOMPARE(dialog.changedFields(),
            std::uint32_t(ContactDetailsDlg::LastNameChanged | ContactDetailsDlg::EMailChanged
                | ContactDetailsDlg::OrganizationChanged));
        QTest::keyClick(edit(dialog, "OrganizationLE"), Qt::Key_Backspace);
        QTest::keyClick(edit(dialog, "EMailLE"), Qt::Key_Backspace);
        QVERIFY(okButton(dialog)->isEnabled());
        QTest::keyClick(edit(dialog, "LastNameLE"), Qt::Key_Backspace);
        QVERIFY(!okButton(dialog)->isEnabled());

        // Comments: typing and deleting a character reaches the same plain text again.
        QTextEdit* text = comments(dialog);
        text->moveCursor(QTextCursor::End);
        QTest::keyClick(text, Qt::Key_Y);
        QCOMPARE(dialog.changedFields(), std::uint32_t(ContactDetailsDlg::CommentsChanged));
        QVERIFY(okButton(dialog)->isEnabled());
        QTest::keyClick(text, Qt::Key_Backspace);
        QVERIFY(!okButton(dialog)->isEnabled());
    }
};

std::unique_ptr<QObject> makeDetailsDialogTest() { return std::make_unique<DetailsDialogTest>(); }

#include "DetailsDialogTest.moc"

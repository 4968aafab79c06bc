// ContactDetailsDlg on its own: the form, OK rules of its three uses, edit tracking and results.

#include <QFormLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QVBoxLayout>

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
    void formHasItsNamesSizeAndFlags()
    {
        ContactDetailsDlg dialog;
        QCOMPARE(dialog.objectName(), QStringLiteral("ContactDetailsDlg"));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Dialog"));
        QCOMPARE(dialog.size(), QSize(291, 493));
        QCOMPARE(dialog.windowModality(), Qt::ApplicationModal);
        const Qt::WindowFlags flags = dialog.windowFlags();
        QCOMPARE(flags & Qt::WindowType_Mask, Qt::Tool);
        QVERIFY(flags.testFlag(Qt::WindowTitleHint));
        QVERIFY(flags.testFlag(Qt::WindowSystemMenuHint));
        QVERIFY(flags.testFlag(Qt::WindowStaysOnTopHint));
        QVERIFY(dialog.findChild<QVBoxLayout*>("verticalLayout_7"));

        struct Box {
            const char* box;
            const char* title;
            const char* layout;
            const char* field;
        };
        const Box boxes[] = {
            { "groupBox", "Contact Name", "verticalLayout_2", "ContactNameLE" },
            { "groupBox_2", "First Name", "verticalLayout", "FirstNameLE" },
            { "groupBox_3", "Last Name", "verticalLayout_3", "LastNameLE" },
            { "groupBox_4", "Organization", "verticalLayout_4", "OrganizationLE" },
            { "groupBox_5", "Email", "verticalLayout_5", "EMailLE" },
            { "groupBox_6", "Comments", "verticalLayout_6", "CommentsTE" },
        };
        for (const Box& expected : boxes) {
            auto* box = dialog.findChild<QGroupBox*>(expected.box);
            QVERIFY2(box, expected.box);
            QCOMPARE(box->title(), QString::fromLatin1(expected.title));
            QCOMPARE(box->alignment() & Qt::AlignHCenter, Qt::AlignHCenter);
            QCOMPARE(box->layout()->objectName(), QString::fromLatin1(expected.layout));
            QWidget* field = box->findChild<QWidget*>(expected.field);
            QVERIFY2(field, expected.field);
            if (auto* line = qobject_cast<QLineEdit*>(field))
                QCOMPARE(line->alignment() & Qt::AlignHCenter, Qt::AlignHCenter);
            else
                QVERIFY(qobject_cast<QTextEdit*>(field));
        }
        auto* buttons = dialog.findChild<QGroupBox*>("groupBox_7");
        QVERIFY(buttons);
        QVERIFY(buttons->isFlat());
        QVERIFY(buttons->title().isEmpty());
        QVERIFY(qobject_cast<QFormLayout*>(buttons->layout()));
        QCOMPARE(buttons->layout()->objectName(), QStringLiteral("formLayout"));
        QCOMPARE(okButton(dialog)->text(), QStringLiteral("OK"));
        QCOMPARE(dialog.findChild<QPushButton*>("CancelButton")->text(), QStringLiteral("Cancel"));
        QVERIFY(dialog.styleSheet().contains(QStringLiteral("rgb(140, 190, 255)")));
    }

    void firstStartOkFollowsTheTypedName()
    {
        ContactDetailsDlg dialog;
        dialog.setWindowTitle(QStringLiteral("Enter Your Own Contact Information"));
        dialog.setOkEnabled(false);
        dialog.show();
        QLineEdit* name = edit(dialog, "ContactNameLE");
        QVERIFY(!name->isReadOnly());
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
    }

    void editTrackingOffersOkOnlyForRealChanges()
    {
        ContactDetailsDlg dialog;
        dialog.setDetails({ "Bob", "Robert", "Builder", "Acme", "bob@example.org", "line one\nline two" });
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
        QCOMPARE(dialog.changedFields(),
            std::uint32_t(ContactDetailsDlg::LastNameChanged | ContactDetailsDlg::EMailChanged));
        QTest::keyClick(edit(dialog, "EMailLE"), Qt::Key_Backspace);
        QVERIFY(okButton(dialog)->isEnabled());
        QTest::keyClick(edit(dialog, "LastNameLE"), Qt::Key_Backspace);
        QVERIFY(!okButton(dialog)->isEnabled());

        QTest::keyClicks(edit(dialog, "OrganizationLE"), QStringLiteral("!"));
        QCOMPARE(dialog.changedFields(), std::uint32_t(ContactDetailsDlg::OrganizationChanged));
        QTest::keyClick(edit(dialog, "OrganizationLE"), Qt::Key_Backspace);

        // Comments: typing and deleting a character reaches the same plain text again.
        QTextEdit* text = comments(dialog);
        text->moveCursor(QTextCursor::End);
        QTest::keyClick(text, Qt::Key_Y);
        QCOMPARE(dialog.changedFields(), std::uint32_t(ContactDetailsDlg::CommentsChanged));
        QVERIFY(okButton(dialog)->isEnabled());
        QTest::keyClick(text, Qt::Key_Backspace);
        QVERIFY(!okButton(dialog)->isEnabled());
    }

    void initialValuesAreTakenWhenShown()
    {
        // Fields filled after the dialog is up count as changes against what was shown.
        ContactDetailsDlg dialog;
        dialog.setEditTracking(true);
        dialog.setOkEnabled(false);
        dialog.show();
        edit(dialog, "FirstNameLE")->setText(QStringLiteral("late"));
        QTest::keyClicks(edit(dialog, "FirstNameLE"), QStringLiteral("r"));
        QVERIFY(okButton(dialog)->isEnabled());
        dialog.hide();
        // A new show measures against the fields as they stand then.
        dialog.show();
        QTest::keyClick(edit(dialog, "FirstNameLE"), Qt::Key_Backspace);
        QTest::keyClicks(edit(dialog, "FirstNameLE"), QStringLiteral("r"));
        QVERIFY(!okButton(dialog)->isEnabled());
    }

    void everyWayOutButOkIsNotAccepted()
    {
        ContactDetailsDlg cancelled;
        cancelled.show();
        QTest::mouseClick(cancelled.findChild<QPushButton*>("CancelButton"), Qt::LeftButton);
        QCOMPARE(cancelled.result(), int(ContactDetailsDlg::Cancelled));

        ContactDetailsDlg escaped;
        escaped.show();
        QTest::keyClick(&escaped, Qt::Key_Escape);
        QVERIFY(escaped.isHidden());
        QCOMPARE(escaped.result(), int(ContactDetailsDlg::Cancelled));
    }

    void detailsTakeThePlainTextOfEveryField()
    {
        ContactDetailsDlg dialog;
        QString longComment;
        for (int line = 0; line < 400; ++line)
            longComment += QStringLiteral("comment line %1 <b>not bold</b>\n").arg(line);
        dialog.setDetails({ "Carol", "C", "Smith", "Org & Co", "carol@example.org", longComment });
        const ContactDetails details = dialog.details();
        QCOMPARE(details.name, QStringLiteral("Carol"));
        QCOMPARE(details.firstName, QStringLiteral("C"));
        QCOMPARE(details.lastName, QStringLiteral("Smith"));
        QCOMPARE(details.organization, QStringLiteral("Org & Co"));
        QCOMPARE(details.email, QStringLiteral("carol@example.org"));
        QCOMPARE(details.comments, longComment);
    }
};

std::unique_ptr<QObject> makeDetailsDialogTest() { return std::make_unique<DetailsDialogTest>(); }

#include "DetailsDialogTest.moc"

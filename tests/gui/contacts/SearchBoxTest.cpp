// The quick search box (placeholder and filter) and showing a file in its folder.

#include <QFocusEvent>
#include <QListWidget>
#include <QTest>
#include <QUrl>
#include <filesystem>

#include "ContactsFixture.h"
#include "QtTestSupport.h"
#include "TestSupport.h"
#include "ui/contacts/QuickSearchLineEdit.h"
#include "ui/desktop/ShowInFolder.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

void focus(QWidget& widget, QEvent::Type type)
{
    QFocusEvent event(type, Qt::MouseFocusReason);
    QCoreApplication::sendEvent(&widget, &event);
}

QColor textColour(const QWidget& widget) { return widget.palette().color(QPalette::Active, QPalette::Text); }

QStringList visibleRows(const QListWidget& list)
{
    QStringList rows;
    for (int row = 0; row < list.count(); ++row) {
        if (!list.item(row)->isHidden())
            rows << list.item(row)->text();
    }
    return rows;
}

} // namespace

class SearchBoxTest : public QObject {
    Q_OBJECT

private slots:
    // The placeholder is plain grey text that gives way to the user; typing filters the list by
    // hiding rows only, ignoring case.
    void placeholderGivesWayAndTypingOnlyHidesRows()
    {
        QListWidget list;
        for (const char* name : { "Anna", "Bob", "Joanne", "Carol" })
            list.addItem(QString::fromLatin1(name));
        list.setSelectionMode(QAbstractItemView::ExtendedSelection);
        list.item(1)->setSelected(true);
        list.item(3)->setSelected(true);
        QuickSearchLineEdit box;
        box.setTextColor(Qt::lightGray);
        box.setPlaceholder(QStringLiteral("Type here to search"));
        box.setFilterList(&list);
        box.setFilterEnabled(true);
        QCOMPARE(box.text(), QStringLiteral("Type here to search"));
        QCOMPARE(visibleRows(list).size(), 4);

        focus(box, QEvent::FocusIn);
        QVERIFY(box.text().isEmpty());
        QTest::keyClicks(&box, QStringLiteral("AN"));
        QCOMPARE(textColour(box), QColor(Qt::black));
        QCOMPARE(visibleRows(list), QStringList({ "Anna", "Joanne" }));
        QCOMPARE(list.count(), 4);
        QCOMPARE(list.selectedItems().size(), 2);

        // Leaving the box is no edit: the user's text and the filter stay. Emptying it by editing
        // shows every row, and leaving it empty brings the placeholder back.
        focus(box, QEvent::FocusOut);
        focus(box, QEvent::FocusIn);
        QCOMPARE(box.text(), QStringLiteral("AN"));
        QCOMPARE(visibleRows(list), QStringList({ "Anna", "Joanne" }));
        QTest::keyClick(&box, Qt::Key_Backspace);
        QTest::keyClick(&box, Qt::Key_Backspace);
        QCOMPARE(visibleRows(list).size(), 4);
        focus(box, QEvent::FocusOut);
        QCOMPARE(box.text(), QStringLiteral("Type here to search"));
        QCOMPARE(textColour(box), QColor(Qt::lightGray));

        // Switched off, typing no longer filters.
        box.setFilterEnabled(false);
        focus(box, QEvent::FocusIn);
        QTest::keyClicks(&box, QStringLiteral("zzz"));
        QCOMPARE(visibleRows(list).size(), 4);
    }

    void showInFolderFallsBackToTheFolder()
    {
        QStringList shown;
        QList<QUrl> opened;
        bool fileManagerAnswers = false;
        ShowInFolder::setHooks({ [&](const QStringList& uris) {
                                    shown << uris;
                                    return fileManagerAnswers;
                                },
            [&](const QUrl& folder) {
                opened << folder;
                return true;
            } });
        const fs::path folder = freshFolder("show");
        writeText(folder / "a b.kvxk", "x");
        const QString file = qpath(folder / "a b.kvxk");

        showInExplorer(file);
        QCOMPARE(shown, QStringList { QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded) });
        QCOMPARE(opened, QList<QUrl> { QUrl::fromLocalFile(qpath(folder)) });

        fileManagerAnswers = true;
        showInExplorer(file);
        QCOMPARE(shown.size(), 2);

        // Without a session bus the real call isn't tried: the folder opens at once.
        qputenv("DBUS_SESSION_BUS_ADDRESS", QByteArray("unix:path=") + QByteArray((folder / "no-bus").c_str()));
        ShowInFolder::setHooks({ nullptr, [&](const QUrl& url) {
                                    opened << url;
                                    return true;
                                } });
        showInExplorer(file);
        QCOMPARE(opened.size(), 2);

        // A file that isn't there, or no file at all, shows nothing.
        showInExplorer(qpath(folder / "missing.kvxk"));
        showInExplorer(QString());
        QCOMPARE(shown.size(), 2);
        QCOMPARE(opened.size(), 2);
        ShowInFolder::setHooks({});
    }
};

std::unique_ptr<QObject> makeSearchBoxTest() { return std::make_unique<SearchBoxTest>(); }

#include "SearchBoxTest.moc"

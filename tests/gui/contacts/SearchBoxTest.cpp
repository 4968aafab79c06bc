// The quick search box (placeholder, colours, filter) and showing a file in its folder.

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

void focusIn(QWidget& widget)
{
    QFocusEvent event(QEvent::FocusIn, Qt::MouseFocusReason);
    QCoreApplication::sendEvent(&widget, &event);
}

void focusOut(QWidget& widget)
{
    QFocusEvent event(QEvent::FocusOut, Qt::MouseFocusReason);
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
    void placeholderGivesWayToTheUser()
    {
        QuickSearchLineEdit box;
        box.setTextColor(Qt::lightGray);
        box.setPlaceholder(QStringLiteral("Type here to search"));
        QCOMPARE(box.text(), QStringLiteral("Type here to search"));
        QCOMPARE(textColour(box), QColor(Qt::lightGray));
        QVERIFY2(!box.font().italic(), "the first italic comes with the first focus-out");

        focusIn(box);
        QVERIFY(box.text().isEmpty());
        QCOMPARE(textColour(box), QColor(Qt::black));
        QVERIFY(!box.font().italic());

        focusOut(box);
        QCOMPARE(box.text(), QStringLiteral("Type here to search"));
        QCOMPARE(textColour(box), QColor(Qt::lightGray));
        QVERIFY(box.font().italic());

        // Text of the user's own survives leaving and coming back.
        focusIn(box);
        QTest::keyClicks(&box, QStringLiteral("ann"));
        focusOut(box);
        QCOMPARE(box.text(), QStringLiteral("ann"));
        QCOMPARE(textColour(box), QColor(Qt::black));
        focusIn(box);
        QCOMPARE(box.text(), QStringLiteral("ann"));
    }

    void filterOnlyHidesRowsIgnoringCase()
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
        QCOMPARE(visibleRows(list).size(), 4);

        focusIn(box);
        QTest::keyClicks(&box, QStringLiteral("AN"));
        QCOMPARE(visibleRows(list), QStringList({ "Anna", "Joanne" }));
        QCOMPARE(list.count(), 4);
        QCOMPARE(list.item(0)->text(), QStringLiteral("Anna"));
        QCOMPARE(list.selectedItems().size(), 2);

        // Leaving the box is no edit: the filter stays. Emptying it by editing shows every row.
        focusOut(box);
        QCOMPARE(visibleRows(list), QStringList({ "Anna", "Joanne" }));
        focusIn(box);
        QTest::keyClick(&box, Qt::Key_Backspace);
        QTest::keyClick(&box, Qt::Key_Backspace);
        QCOMPARE(visibleRows(list).size(), 4);
        focusOut(box);
        QCOMPARE(box.text(), QStringLiteral("Type here to search"));
        QCOMPARE(visibleRows(list).size(), 4);

        // Switched off, typing no longer filters.
        box.setFilterEnabled(false);
        focusIn(box);
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
        QVERIFY(shown.first().startsWith(QStringLiteral("file:///")));
        QCOMPARE(opened, QList<QUrl> { QUrl::fromLocalFile(qpath(folder)) });

        fileManagerAnswers = true;
        showInExplorer(file);
        QCOMPARE(shown.size(), 2);
        QCOMPARE(opened.size(), 1);

        // Without a session bus the real call isn't tried: the folder opens at once.
        qputenv("DBUS_SESSION_BUS_ADDRESS", QByteArray("unix:path=") + QByteArray((folder / "no-bus").c_str()));
        ShowInFolder::setHooks({ nullptr, [&](const QUrl& url) {
                                    opened << url;
                                    return true;
                                } });
        showInExplorer(file);
        QCOMPARE(opened.size(), 2);
        opened.removeLast();

        showInExplorer(qpath(folder / "missing.kvxk"));
        showInExplorer(QString());
        QCOMPARE(shown.size(), 2);
        QCOMPARE(opened.size(), 1);
        ShowInFolder::setHooks({});
    }
};

std::unique_ptr<QObject> makeSearchBoxTest() { return std::make_unique<SearchBoxTest>(); }

#include "SearchBoxTest.moc"

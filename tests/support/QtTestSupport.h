#pragma once
// What the Qt test programs share: their main function, which runs one application and one test
// object inside the program's private sandbox, and a few small helpers.

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QString>
#include <QTest>
#include <filesystem>

#include "Sandbox.h"

namespace testing_support {

inline QString qpath(const std::filesystem::path& path) { return QString::fromStdString(path.string()); }

// Shows the widget and waits until it is the active window, as a user's click would leave it.
inline void showActive(QWidget& widget)
{
    widget.show();
    widget.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&widget));
}

// Drops the URLs on `window` over `target`, as a drag from another program would: an enter, then
// the drop; events the drop queued (a folder walk) run before it returns. False if either was
// turned down.
inline bool dropFromOutside(QWidget& window, QWidget& target, const QList<QUrl>& urls)
{
    QMimeData data;
    data.setUrls(urls);
    const QPoint at = target.mapTo(&window, target.rect().center());
    QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    return enter.isAccepted() && drop.isAccepted();
}

template <class Test, class Application = QApplication> int runQtTest(int argc, char** argv)
{
    if (!enterSandbox())
        return 2;
    int result = 0;
    {
        Application app(argc, argv);
        Test test;
        result = QTest::qExec(&test, argc, argv);
    }
    leaveSandbox();
    return result;
}

} // namespace testing_support

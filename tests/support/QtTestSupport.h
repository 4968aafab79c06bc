#pragma once
// What the Qt test programs share: their main function, which runs one application and one test
// object inside the program's private sandbox, and a few small helpers.

#include <QApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QMimeData>
#include <QScopeGuard>
#include <QString>
#include <QTest>
#include <QUrl>
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

// Writes a shell script at `path` that its owner may run.
inline void writeScript(const QString& path, const QByteArray& text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

// Puts `dir` first on PATH until the returned guard goes.
[[nodiscard]] inline auto pathFirst(const QString& dir)
{
    const QByteArray saved = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(dir) + ':' + saved);
    return qScopeGuard([saved] { qputenv("PATH", saved); });
}

// A stand-in for a program that writes its arguments, NUL-terminated, to <its folder>/<pid>.args,
// renamed into place only when complete.
inline constexpr char recorder[] = "#!/bin/sh\n"
                                   "out=\"$(dirname \"$0\")/$$.args\"\n"
                                   "printf '%s\\0' \"$@\" > \"$out.tmp\" && mv \"$out.tmp\" \"$out\"\n";

// Waits for the one record in `dir`, removes it, and returns its arguments.
inline QStringList waitForRecord(const QString& dir)
{
    QStringList records;
    for (int i = 0; i < 100 && records.isEmpty(); ++i) {
        QTest::qWait(50);
        records = QDir(dir).entryList({ QStringLiteral("*.args") }, QDir::Files);
    }
    QFile file(QDir(dir).filePath(records.value(0)));
    if (records.size() != 1 || !file.open(QIODevice::ReadOnly))
        return { QStringLiteral("<%1 records>").arg(records.size()) };
    QStringList args = QString::fromUtf8(file.readAll()).split(QChar(0));
    args.removeLast(); // behind the last terminator
    file.remove();
    return args;
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

#pragma once
// What the file list and chooser tests share: files on disk in the sandbox, and a context menu
// read as it pops up.

#include <QAbstractItemView>
#include <QApplication>
#include <QMenu>
#include <QTimer>
#include <filesystem>

#include "QtTestSupport.h"
#include "TestSupport.h"

namespace testing_support {

// Writes the files below the folder (a trailing slash makes a folder) and returns their paths.
inline QStringList makeFiles(const std::filesystem::path& folder, const QStringList& relative)
{
    QStringList paths;
    for (const QString& name : relative) {
        const std::filesystem::path file = folder / name.toStdString();
        std::filesystem::create_directories(file.parent_path());
        if (!name.endsWith(u'/'))
            writeText(file, "x");
        paths << qpath(file);
    }
    return paths;
}

// Pops up the view's menu at `at` and returns its visible actions as "caption|shortcut"; the one
// captioned `choose` is triggered once the menu has closed.
inline QStringList menuCaptions(QAbstractItemView& view, QPoint at, const QString& choose = {})
{
    QStringList captions;
    QTimer::singleShot(0, &view, [&captions, choose] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu)
            return;
        QAction* chosen = nullptr;
        for (QAction* action : menu->actions()) {
            if (action->isVisible() && !action->isSeparator())
                captions << action->text() + u'|' + action->shortcut().toString();
            if (action->text() == choose)
                chosen = action;
        }
        menu->close();
        if (chosen)
            chosen->trigger();
    });
    emit view.customContextMenuRequested(at);
    return captions;
}

} // namespace testing_support

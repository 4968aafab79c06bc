#pragma once
// Where the user guide lies. The window opens it with
//     const QString path = helpFilePath();
//     if (!path.isEmpty())
//         QDesktopServices::openUrl(QUrl::fromLocalFile(path));

#include <QString>

// The guide for the running program (its folder is QCoreApplication::applicationDirPath()), or an
// empty string when there is none.
QString helpFilePath();

// The same search for a program in `programDir`, first match wins:
//   1. Halvoren.html beside the program;
//   2. the installed guide, <prefix>/share/halvoren/Halvoren.html for a program in <prefix>/bin;
//   3. docs/Halvoren.html of the source tree, but only for a program inside the build tree it was
//      built in, so that an installed program never shows a guide from a checkout.
QString helpFilePath(const QString& programDir);

// Whether `dir` is `root` or lies below it, links resolved; false where either doesn't exist. A
// program in its build tree finds its guide and translations in the sources, an installed one never.
bool isInsideFolder(const QString& dir, const QString& root);

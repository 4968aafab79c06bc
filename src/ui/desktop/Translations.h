#pragma once
// The window in the user's language. main() calls
//     installTranslations(QLocale());
// once the QApplication exists; the forms and every tr() follow, and so do the core's messages.

#include <QLocale>
#include <QString>

// Loads halvoren_<language>.qm for `locale` and Qt's own qtbase_<language>.qm (standard buttons,
// file dialogs), and routes the core's texts through them. English needs neither and loads
// nothing. Returns whether the program's own translation was found.
bool installTranslations(const QLocale& locale);

// Where the program's .qm files are for a program in `programDir`, first match wins:
//   1. <prefix>/share/halvoren/translations for a program in <prefix>/bin;
//   2. the build tree's translations folder, but only for a program inside that build tree.
// Empty when neither exists.
QString translationsFolder(const QString& programDir);

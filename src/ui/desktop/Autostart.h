#pragma once
// Starting with the user's login: an XDG autostart entry in the user's configuration folder
// (honouring XDG_CONFIG_HOME), whose command line starts the program hidden in the tray.

#include <QString>

// The entry's path: <config location>/autostart/halvoren.desktop.
QString autostartEntryPath();
// Writes the entry for this program (an existing one is overwritten, so a moved program repairs
// itself) or removes it. Failures are silent; the result tells them for tests.
bool updateAutostart(bool enable);

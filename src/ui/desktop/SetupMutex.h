#pragma once
// Named markers that say "the program runs" to installers and other tools: held for the life of
// the process and gone with it, whatever way it ends. Nothing in the program waits on them, and a
// second start isn't refused.

#include <QString>

// Holds the marker `name` until the process ends. False if it couldn't be made or is already
// held (by another running copy); callers don't look at the result.
bool holdSetupMutex(const QString& name);

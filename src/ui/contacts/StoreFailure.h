#pragma once
// The message a user sees when a contact change can't be written.

#include "engine/EngineStatus.h"

class QWidget;

// A warning box titled with the program's name and the failure's text. A status without a code
// of its own (a file that couldn't be written) is told by the system's last error.
void showStoreFailure(QWidget* parent, EngineStatus status);

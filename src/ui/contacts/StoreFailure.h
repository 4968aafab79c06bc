#pragma once
// The message a user sees when a contact change can't be written.

#include "engine/EngineStatus.h"

class QWidget;

// A warning box titled with the program's name and the failure's text. Where the status only wraps
// a system failure, the system's last error tells the cause: callers clear it before the store
// call, so a stale value is never shown.
void showStoreFailure(QWidget* parent, EngineStatus status);

#pragma once
// Progress on the program's launcher or taskbar button: the launcher-entry D-Bus signal that
// docks and panels listen for. Where no session bus exists, or nobody listens, it is nothing.

#include <functional>

namespace TaskbarProgress {
// A value out of 100 on the button.
void setValue(int percent);
// The bar off (at the end of a run).
void clear();

// Tests record what would go out instead of sending it; an empty function sends again.
void setSender(std::function<void(double progress, bool visible)> sender);
} // namespace TaskbarProgress

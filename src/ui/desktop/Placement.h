#pragma once
// Where windows open. Positions of a window that the window manager hasn't framed yet are taken as
// the position of its client area, so a window placed at the top of the screen has its title bar
// above it; these helpers place the client area and leave room for a title bar above it.

class QWidget;

// The window's client area centred on the screen it is on (the primary one before it is shown),
// fully inside the available area with room for a title bar, and shrunk to fit where it is larger.
void centreOnScreen(QWidget& window);

// A dialog as large as its content asks for at this desktop's font and scale (forms are drawn for
// one font; another one may need more room), wide enough to show its title, no larger than the
// screen it opens on, and centred on its window or the screen with its title bar on the screen.
void fitToScreen(QWidget& dialog);

#include "ui/desktop/Placement.h"

#include <QApplication>
#include <QFontMetrics>
#include <QScreen>
#include <QWidget>

#include <algorithm>

namespace {
// What a window manager's frame takes, where no framed window tells it yet: Qt's own guess.
constexpr int TitleAllowance = 40;
constexpr int BorderAllowance = 10;

struct Frame {
    int top = TitleAllowance;
    int side = BorderAllowance;
};

// A visible window that has its frame tells how large frames are on this desktop.
Frame desktopFrame()
{
    Frame frame;
    for (const QWidget* other : QApplication::topLevelWidgets()) {
        const int title = other->geometry().y() - other->frameGeometry().y();
        if (other->isVisible() && title > 0 && title < 80) {
            frame.top = title;
            frame.side = other->geometry().x() - other->frameGeometry().x();
            break;
        }
    }
    return frame;
}

QScreen* screenOf(const QWidget& window)
{
    if (window.isVisible())
        return window.screen();
    const QWidget* parent = window.parentWidget() ? window.parentWidget()->window() : nullptr;
    return parent && parent->isVisible() ? parent->screen() : QGuiApplication::primaryScreen();
}
} // namespace

void fitToScreen(QWidget& dialog)
{
    QScreen* screen = screenOf(dialog);
    if (!screen)
        return;
    const Frame frame = desktopFrame();
    const QRect room = screen->availableGeometry().adjusted(frame.side, frame.top, -frame.side, -frame.side);
    QSize wanted = dialog.size().expandedTo(dialog.sizeHint());
    // Window managers draw titles in a bold, often larger face; the title bar holds the title
    // and, at the most, three buttons and an icon.
    QFont titleFont = QApplication::font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.15);
    const int titleWidth = QFontMetrics(titleFont).horizontalAdvance(dialog.windowTitle()) + 5 * 24;
    wanted.setWidth(std::max(wanted.width(), titleWidth));
    const QSize size
        = wanted.boundedTo(room.size()).expandedTo(dialog.minimumSizeHint()).boundedTo(dialog.maximumSize());
    // Centred on the window it belongs to where that is shown, else on the screen, and moved in
    // whole where that would put a part of it, its title bar above all, off the screen.
    const QWidget* parent = dialog.parentWidget() ? dialog.parentWidget()->window() : nullptr;
    const QPoint centre = parent && parent->isVisible() ? parent->frameGeometry().center() : room.center();
    QRect placed(QPoint(0, 0), size);
    placed.moveCenter(centre);
    placed.moveLeft(std::clamp(placed.left(), room.left(), std::max(room.left(), room.right() - size.width() + 1)));
    placed.moveTop(std::clamp(placed.top(), room.top(), std::max(room.top(), room.bottom() - size.height() + 1)));
    dialog.setGeometry(placed);
}

void centreOnScreen(QWidget& window)
{
    QScreen* screen = window.isVisible() ? window.screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const Frame frame = desktopFrame();
    const QRect area = screen->availableGeometry().adjusted(frame.side, frame.top, -frame.side, -frame.side);
    const QSize size = window.size().boundedTo(area.size()).expandedTo(window.minimumSize());
    const QRect placed(area.left() + (area.width() - size.width()) / 2,
        area.top() + (area.height() - size.height()) / 2, size.width(), size.height());
    window.setGeometry(placed);
}

#include "ui/contacts/QuickSearchLineEdit.h"

#include <QListWidget>
#include <QPalette>

QuickSearchLineEdit::QuickSearchLineEdit(QWidget* parent)
    : QLineEdit(parent)
    , savedFont(font())
{
}

void QuickSearchLineEdit::setPlaceholder(const QString& text)
{
    placeholder = text;
    setText(text);
}

void QuickSearchLineEdit::setTextColor(const QColor& color)
{
    QPalette palette;
    palette.setBrush(QPalette::All, QPalette::Text, QBrush(color, Qt::SolidPattern));
    setPalette(palette);
}

void QuickSearchLineEdit::setFilterEnabled(bool enable)
{
    if (enable)
        connect(this, &QLineEdit::textEdited, this, &QuickSearchLineEdit::onTextEdited, Qt::UniqueConnection);
    else
        disconnect(this, &QLineEdit::textEdited, this, &QuickSearchLineEdit::onTextEdited);
}

void QuickSearchLineEdit::focusInEvent(QFocusEvent* event)
{
    // The placeholder is ordinary text: only its wording tells it from what the user typed.
    if (text() == placeholder) {
        clear();
        savedFont.setStyle(QFont::StyleNormal);
        setFont(savedFont);
        setTextColor(Qt::black);
    }
    QLineEdit::focusInEvent(event);
}

void QuickSearchLineEdit::focusOutEvent(QFocusEvent* event)
{
    if (text().isEmpty()) {
        savedFont.setStyle(QFont::StyleItalic);
        setFont(savedFont);
        setTextColor(Qt::lightGray);
        setPlaceholder(placeholder);
    }
    QLineEdit::focusOutEvent(event);
}

void QuickSearchLineEdit::onTextEdited(const QString& text)
{
    if (!filterList)
        return;
    // Only hides rows: content, order and selection of the list stay as they are.
    for (int row = 0; row < filterList->count(); ++row) {
        QListWidgetItem* item = filterList->item(row);
        if (item && item->listWidget())
            item->setHidden(!item->text().contains(text, Qt::CaseInsensitive));
    }
}

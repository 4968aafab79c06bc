#pragma once
// A line edit with a placeholder made of ordinary grey italic text that gives way to the user's
// typing, and an optional filter that hides the rows of a list that don't match.

#include <QColor>
#include <QFont>
#include <QLineEdit>
#include <QString>

class QListWidget;

class QuickSearchLineEdit : public QLineEdit {
    Q_OBJECT
public:
    explicit QuickSearchLineEdit(QWidget* parent = nullptr);

    // Stores the placeholder and shows it as the box's text.
    void setPlaceholder(const QString& text);
    void setTextColor(const QColor& color);
    void setFilterList(QListWidget* list) { filterList = list; }
    // Filters the list as the user types (edits only, not setText).
    void setFilterEnabled(bool enable);

protected:
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private slots:
    void onTextEdited(const QString& text);

private:
    QFont savedFont;
    QString placeholder;
    QListWidget* filterList = nullptr;
};

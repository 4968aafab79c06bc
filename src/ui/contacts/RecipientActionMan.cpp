#include "ui/contacts/RecipientActionMan.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>

RecipientActionMan::RecipientActionMan(QListWidget* list, QListWidget* peerList, QObject* parent)
    : ContactActionMan(list, peerList, parent)
{
}

void RecipientActionMan::createActions(QList<ActionEntry*>& entries)
{
    using namespace ActionRules;
    QAction* remove = makeAction(entries, tr("Remove"),
        QStringLiteral(":/ico/MainWindow/Res/LeftArrow.png"), QKeySequence(QKeySequence::Delete), anySelected);
    QAction* selectAll
        = makeAction(entries, tr("Select All"), QString(), QKeySequence(QKeySequence::SelectAll), notAllSelected);
    QAction* clearSelection
        = makeAction(entries, tr("Clear Selection"), QString(), QKeySequence(QKeySequence::Undo), anySelected);
    QAction* details = makeAction(entries, tr("Contact Details"),
        QStringLiteral(":/ico/MainWindow/Res/editprofile.png"), QKeySequence(Qt::CTRL | Qt::Key_I), oneSelected);

    connect(remove, &QAction::triggered, this, &RecipientActionMan::remove_from_recipients);
    connect(selectAll, &QAction::triggered, this, &RecipientActionMan::select_all);
    connect(clearSelection, &QAction::triggered, this, &RecipientActionMan::clear_selection);
    connect(details, &QAction::triggered, this, &RecipientActionMan::contact_details);

    menu->addAction(remove);
    menu->addSeparator();
    menu->addAction(selectAll);
    menu->addAction(clearSelection);
    menu->addSeparator();
    menu->addAction(details);
}

void RecipientActionMan::remove_from_recipients() { moveSelectionToPeer(); }

#pragma once
// The action manager of the recipients list: taking recipients back, selection, details.

#include "ui/contacts/ContactActionMan.h"

class RecipientActionMan : public ContactActionMan {
    Q_OBJECT
public:
    RecipientActionMan(QListWidget* list, QListWidget* peerList, QObject* parent = nullptr);

protected:
    void createActions(QList<ActionEntry*>& entries) override;

protected slots:
    void remove_from_recipients();
};

#pragma once
// The action manager of the contacts list: moving contacts to the recipients, importing and
// exporting key files, removing contacts and showing their details.

#include <QString>

#include "ui/contacts/ActionMan.h"

class ContactActionMan : public ActionMan {
    Q_OBJECT
public:
    ContactActionMan(QListWidget* list, QListWidget* peerList, QObject* parent = nullptr);

    QListWidget* peerListWidget() const { return peerList; }
    // The folder of the last import, where the next open dialog starts.
    QString lastImportFolder() const { return lastFolder; }

    // Reads a key file, asks for the contact's details and files the new contact in the store
    // and at the end of `target`. True if a contact was added. Messages are shown on `target`.
    static bool importContactKey(const QString& path, QListWidget* target, RecipientsStore* store);
    // The key file to import, or empty.
    QString chooseKeyFileToOpen();
    // The key file to export to, with the key suffix added unless it is already the only one.
    QString chooseKeyFileToSave(const QString& suggestedName);
    void moveToPeer() override { moveSelectionToPeer(); }

protected:
    void createActions(QList<ActionEntry*>& entries) override;
    // Clones each selected item to the end of the peer list and deletes the source items.
    void moveSelectionToPeer();

    QListWidget* peerList;
    QString lastFolder;

protected slots:
    void add_to_recipients();
    void add_new_contact();
    void export_contact();
    void remove_contact();
    void select_all();
    void clear_selection();
    void contact_details();
};

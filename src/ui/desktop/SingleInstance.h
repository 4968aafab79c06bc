#pragma once
// One window per user and profile. The first start holds a lock and listens on a local socket in
// the user's runtime folder; a later start hands its arguments to it and ends, and the running
// window comes to the front and acts on them as on a drop. Two windows on one profile would each
// keep their own idea of the contacts and the options, and the last one to close would win.

#include <QList>
#include <QLockFile>
#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>

class QLocalServer;

class SingleInstance : public QObject {
    Q_OBJECT

public:
    // `profile` tells the instances apart: each profile folder has a window of its own.
    explicit SingleInstance(const QString& profile, QObject* parent = nullptr);
    ~SingleInstance() override;

    enum class Role {
        First, // nobody else runs: this start is the window
        HandedOver, // a running window took the arguments: this start ends
        Alone, // a window holds the lock but doesn't answer: run without hand-overs
    };
    // Decides which this start is; a later start sends `arguments` (the program's, paths made
    // absolute) before it returns.
    Role start(const QStringList& arguments);

    // Where the lock and the socket live, for the tests.
    QString socketPath() const { return socket; }

    // Paths made absolute against the current folder, so that the running window, which may
    // have been started elsewhere, finds them; anything that starts with '-' is kept as it is.
    static QStringList absoluteArguments(const QStringList& arguments);

    // Who acts on another start's arguments (its program name first, as
    // QCoreApplication::arguments() has them). What arrived before, while the first start still
    // asked its questions, is handed over now.
    void setReceiver(std::function<void(const QStringList&)> receiver);

private:
    void listen();
    void readConnection();

    QString socket;
    std::unique_ptr<QLockFile> lock;
    QLocalServer* server = nullptr;
    std::function<void(const QStringList&)> receive;
    QList<QStringList> waiting;
};

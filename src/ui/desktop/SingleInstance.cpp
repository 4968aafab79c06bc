#include "ui/desktop/SingleInstance.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>
#include <QUrl>

namespace {
// A running window answers at once unless it is starting up or a modal dialog is up; both still
// run the event loop, so a few seconds is generous.
constexpr int HandOverMilliseconds = 5000;
constexpr char Acknowledged = '1';

QString runtimeFolder()
{
    // Qt makes a private fallback folder where XDG_RUNTIME_DIR is unset.
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return folder;
}

QByteArray encode(const QStringList& arguments)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << arguments;
    return bytes;
}

bool sendTo(const QString& socket, const QStringList& arguments)
{
    const QDeadlineTimer deadline(HandOverMilliseconds);
    // The first start takes the lock before it listens; a start right after it may find no
    // socket yet, so it tries again until the deadline.
    while (!deadline.hasExpired()) {
        QLocalSocket connection;
        connection.connectToServer(socket);
        if (connection.waitForConnected(int(deadline.remainingTime()))) {
            const QByteArray message = encode(arguments);
            QDataStream out(&connection);
            out << quint32(message.size());
            connection.write(message);
            if (!connection.waitForBytesWritten(int(deadline.remainingTime())))
                return false;
            while (connection.bytesAvailable() < 1) {
                if (!connection.waitForReadyRead(int(deadline.remainingTime())))
                    return false;
            }
            char answer = 0;
            return connection.getChar(&answer) && answer == Acknowledged;
        }
        QThread::msleep(50);
    }
    return false;
}
} // namespace

SingleInstance::SingleInstance(const QString& profile, QObject* parent)
    : QObject(parent)
{
    const QByteArray key
        = QCryptographicHash::hash(QDir(profile).absolutePath().toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    socket = QDir(runtimeFolder()).filePath(QStringLiteral("halvoren-") + QString::fromLatin1(key));
}

SingleInstance::~SingleInstance() = default;

QStringList SingleInstance::absoluteArguments(const QStringList& arguments)
{
    QStringList result;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (i == 0 || argument.startsWith(u'-')) {
            result << argument;
        } else if (argument.startsWith(QStringLiteral("file:"))) {
            // The file manager may pass URLs as well as paths.
            result << QUrl(argument).toLocalFile();
        } else {
            result << QFileInfo(argument).absoluteFilePath();
        }
    }
    return result;
}

SingleInstance::Role SingleInstance::start(const QStringList& arguments)
{
    lock = std::make_unique<QLockFile>(socket + QStringLiteral(".lock"));
    // A lock left by a window that crashed names a process that is gone; QLockFile takes such a
    // lock over, and the socket file it left is removed before listening again.
    lock->setStaleLockTime(0);
    if (lock->tryLock(0)) {
        listen();
        return Role::First;
    }
    if (sendTo(socket, absoluteArguments(arguments)))
        return Role::HandedOver;
    lock.reset();
    return Role::Alone;
}

void SingleInstance::listen()
{
    QLocalServer::removeServer(socket);
    server = new QLocalServer(this);
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server->listen(socket))
        return;
    connect(server, &QLocalServer::newConnection, this, &SingleInstance::readConnection);
}

void SingleInstance::readConnection()
{
    while (QLocalSocket* connection = server->nextPendingConnection()) {
        connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
        connect(connection, &QLocalSocket::readyRead, this, [this, connection] {
            QDataStream in(connection);
            if (connection->bytesAvailable() < qint64(sizeof(quint32)))
                return;
            quint32 size = 0;
            connection->startTransaction();
            in >> size;
            if (connection->bytesAvailable() < qint64(size)) {
                connection->rollbackTransaction();
                return;
            }
            connection->commitTransaction();
            QStringList arguments;
            QDataStream message(connection->read(size));
            message >> arguments;
            connection->putChar(Acknowledged);
            connection->flush();
            if (message.status() != QDataStream::Ok)
                return;
            if (receive)
                receive(arguments);
            else
                waiting << arguments;
        });
    }
}

void SingleInstance::setReceiver(std::function<void(const QStringList&)> receiver)
{
    receive = std::move(receiver);
    while (receive && !waiting.isEmpty())
        receive(waiting.takeFirst());
}

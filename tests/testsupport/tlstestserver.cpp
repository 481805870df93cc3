#include "testsupport/tlstestserver.h"

#include <QHostAddress>
#include <QMutexLocker>
#include <QSslConfiguration>
#include <QSslServer>
#include <QSslSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

// Sends the body as the reply asks, piece by piece; the pauses are timers owned by the socket,
// so a client that hangs up ends the sending.
void sendBody(QTcpSocket *socket, const QByteArray &body, TlsTestServer::Reply reply)
{
    const qsizetype piece = reply.pauseAfter < 0 ? body.size() : reply.pauseAfter;
    socket->write(body.left(piece));
    if (piece >= body.size())
        return socket->disconnectFromHost();
    if (!reply.drip)
        reply.pauseAfter = -1;
    QTimer::singleShot(reply.pauseMs, socket,
                       [socket, rest = body.mid(piece), reply] { sendBody(socket, rest, reply); });
}

} // namespace

TlsTestServer::TlsTestServer(const TestCertificate &certificate)
    : server(new QSslServer)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificate.certificate);
    configuration.setPrivateKey(certificate.key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    server->setSslConfiguration(configuration);
    QObject::connect(server, &QTcpServer::pendingConnectionAvailable, server, [this] {
        while (QTcpSocket *socket = server->nextPendingConnection()) {
            // Reads up to the end of the head, records it and answers; one request a connection.
            const auto onReadyRead = [this, socket, received = std::make_shared<QByteArray>()] {
                received->append(socket->readAll());
                const qsizetype end = received->indexOf("\r\n\r\n");
                if (end < 0)
                    return;
                QObject::disconnect(socket, &QTcpSocket::readyRead, nullptr, nullptr);
                const QByteArray head = received->left(end);
                const QString path = QString::fromLatin1(head.split(' ').value(1).split('?').value(0));
                QMutexLocker lock(&mutex);
                heads.append(head);
                const Reply reply = replies.value(path, {.status = 404, .body = "no such test resource"});
                lock.unlock();
                if (reply.silent)
                    return;
                socket->write(
                    "HTTP/1.1 " + QByteArray::number(reply.status) + " Test\r\nContent-Length: " +
                    QByteArray::number(reply.body.size()) + "\r\nConnection: close\r\n" +
                    (reply.location.isEmpty() ? QByteArray() : "Location: " + reply.location + "\r\n") +
                    "\r\n");
                sendBody(socket, reply.body, reply);
            };
            QObject::connect(socket, &QTcpSocket::readyRead, socket, onReadyRead);
            QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            if (socket->bytesAvailable() > 0)
                onReadyRead();
        }
    });
    if (server->listen(QHostAddress::LocalHost, 0)) {
        listeningPort = server->serverPort();
        baseUrl = u"https://127.0.0.1:%1"_s.arg(listeningPort);
    }
    // From here on the server is the thread's, which deletes it when it ends.
    server->moveToThread(&thread);
    QObject::connect(&thread, &QThread::finished, server, &QObject::deleteLater);
    thread.start();
}

TlsTestServer::~TlsTestServer()
{
    thread.quit();
    thread.wait();
}

void TlsTestServer::setReply(const QString &path, const Reply &reply)
{
    const QMutexLocker lock(&mutex);
    replies.insert(path, reply);
}

QList<QByteArray> TlsTestServer::requestHeads() const
{
    const QMutexLocker lock(&mutex);
    return heads;
}

QList<QByteArray> TlsTestServer::requestedTargets() const
{
    QList<QByteArray> targets;
    for (const QByteArray &head : requestHeads())
        targets.append(head.split(' ').value(1));
    return targets;
}

void TlsTestServer::clearRecords()
{
    const QMutexLocker lock(&mutex);
    heads.clear();
}

bool TlsFixture::start()
{
    certificate = TestCertificate::generate(dir.path(), u"host"_s);
    tlsServer = std::make_unique<TlsTestServer>(certificate);
    error = !certificate.error.isEmpty() ? certificate.error
            : tlsServer->port() == 0     ? u"the test server cannot listen on 127.0.0.1"_s
                                         : QString();
    if (!error.isEmpty())
        return false;
    // curl takes its proxy from the environment; these hosts never go through one.
    qputenv("no_proxy", "127.0.0.1,localhost");
    qputenv("KVT_CA_BUNDLE", certificate.certificatePath.toUtf8());
    qputenv("KVT_UPDATE_HOST", tlsServer->url().toUtf8());
    return true;
}

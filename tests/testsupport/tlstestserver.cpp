#include "testsupport/tlstestserver.h"

#include <QEventLoop>
#include <QHostAddress>
#include <QMutexLocker>
#include <QSemaphore>
#include <QSslConfiguration>
#include <QSslServer>
#include <QSslSocket>
#include <QThread>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

void answer(QTcpSocket *socket, const TlsTestServer::Reply &reply)
{
    if (reply.silent)
        return;
    QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) +
                      " Test\r\nContent-Length: " + QByteArray::number(reply.body.size()) +
                      "\r\nConnection: close\r\n";
    if (!reply.location.isEmpty())
        head += "Location: " + reply.location + "\r\n";
    if (reply.pauseAfter < 0) {
        socket->write(head + "\r\n" + reply.body);
        socket->disconnectFromHost();
        return;
    }
    socket->write(head + "\r\n" + reply.body.left(reply.pauseAfter));
    const QByteArray rest = reply.body.mid(reply.pauseAfter);
    QTimer::singleShot(reply.pauseMs, socket, [socket, rest] {
        socket->write(rest);
        socket->disconnectFromHost();
    });
}

} // namespace

TlsTestServer::TlsTestServer(const TestCertificate &certificate)
    : certificate(certificate)
{
}

TlsTestServer::~TlsTestServer()
{
    if (thread) {
        thread->quit();
        thread->wait();
        delete thread;
    }
}

bool TlsTestServer::start()
{
    QSemaphore ready;
    thread = QThread::create([this, &ready] { run(ready); });
    thread->start();
    ready.acquire();
    return listeningPort != 0;
}

QString TlsTestServer::url(const QString &pathAndQuery) const
{
    return u"https://127.0.0.1:%1"_s.arg(listeningPort) + pathAndQuery;
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

int TlsTestServer::connectionCount() const
{
    const QMutexLocker lock(&mutex);
    return connections;
}

void TlsTestServer::clearRecords()
{
    const QMutexLocker lock(&mutex);
    heads.clear();
    connections = 0;
}

void TlsTestServer::run(QSemaphore &ready)
{
    QSslServer server;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificate.certificate);
    configuration.setPrivateKey(certificate.key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    server.setSslConfiguration(configuration);
    QObject::connect(&server, &QSslServer::startedEncryptionHandshake, &server, [this] {
        const QMutexLocker lock(&mutex);
        ++connections;
    });
    QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, &server, [this, &server] {
        while (QTcpSocket *socket = server.nextPendingConnection())
            serve(socket);
    });
    listeningPort = server.listen(QHostAddress::LocalHost, 0) ? server.serverPort() : 0;
    QEventLoop loop;
    ready.release();
    if (listeningPort != 0)
        loop.exec();
}

void TlsTestServer::serve(QTcpSocket *socket)
{
    auto received = std::make_shared<QByteArray>();
    const auto onReadyRead = [this, socket, received] {
        received->append(socket->readAll());
        const qsizetype end = received->indexOf("\r\n\r\n");
        if (end < 0 || socket->property("answered").toBool())
            return;
        socket->setProperty("answered", true);
        const QByteArray head = received->left(end);
        Reply reply{.status = 404, .body = "no such test resource"};
        {
            const QMutexLocker lock(&mutex);
            heads.append(head);
            reply = replies.value(QString::fromLatin1(head.split(' ').value(1).split('?').value(0)), reply);
        }
        answer(socket, reply);
    };
    QObject::connect(socket, &QTcpSocket::readyRead, socket, onReadyRead);
    QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    if (socket->bytesAvailable() > 0)
        onReadyRead();
}

bool TlsFixture::start()
{
    certificate = TestCertificate::generate(dir.path(), u"host"_s);
    error = certificate.error;
    if (!error.isEmpty())
        return false;
    tlsServer = std::make_unique<TlsTestServer>(certificate);
    if (!tlsServer->start()) {
        error = u"the test server cannot listen on 127.0.0.1"_s;
        return false;
    }
    for (const char *name :
         {"https_proxy", "HTTPS_PROXY", "http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"})
        qunsetenv(name);
    qputenv("no_proxy", "127.0.0.1,localhost");
    qputenv("KVT_CA_BUNDLE", certificate.certificatePath.toUtf8());
    qputenv("KVT_UPDATE_HOST", tlsServer->url().toUtf8());
    return true;
}

TestCertificate TlsFixture::makeCertificate(const QString &name) const
{
    return TestCertificate::generate(dir.path(), name);
}

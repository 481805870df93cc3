#pragma once

// A small HTTPS server on 127.0.0.1 for tests of the HTTPS client and its callers. It runs
// its own event loop on its own thread, because the client under test blocks its caller.
// Replies are chosen by request path; every request head is recorded for inspection.

#include "testsupport/testcertificate.h"

#include <QByteArray>
#include <QEventLoop>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QSemaphore>
#include <QSslConfiguration>
#include <QSslServer>
#include <QSslSocket>
#include <QThread>
#include <QTimer>

#include <memory>

class TlsTestServer
{
public:
    struct Reply
    {
        int status = 200;
        QByteArray body;
        QByteArray location;       // sent as a Location header when not empty
        bool silent = false;       // take the request and never answer it
        qsizetype pauseAfter = -1; // send this many body bytes, pause, then the rest
        int pauseMs = 200;
    };

    explicit TlsTestServer(const TestCertificate &certificate)
        : m_certificate(certificate)
    {
    }
    TlsTestServer(const TlsTestServer &) = delete;
    TlsTestServer &operator=(const TlsTestServer &) = delete;
    ~TlsTestServer()
    {
        if (m_thread) {
            m_thread->quit();
            m_thread->wait();
            delete m_thread;
        }
    }

    // Listens on 127.0.0.1 on a free port; false when that fails.
    bool start()
    {
        QSemaphore ready;
        m_thread = QThread::create([this, &ready] { run(ready); });
        m_thread->start();
        ready.acquire();
        return m_port != 0;
    }

    quint16 port() const { return m_port; }
    QString baseUrl() const { return QStringLiteral("https://127.0.0.1:%1").arg(m_port); }
    QString url(const QString &pathAndQuery) const { return baseUrl() + pathAndQuery; }

    void setReply(const QString &path, const Reply &reply)
    {
        const QMutexLocker lock(&m_mutex);
        m_replies.insert(path, reply);
    }
    void setBody(const QString &path, const QByteArray &body)
    {
        Reply reply;
        reply.body = body;
        setReply(path, reply);
    }

    // Heads ("GET /x HTTP/1.1\r\nHost: ...") of the requests received, in order.
    QList<QByteArray> requestHeads() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_requests;
    }
    QList<QByteArray> requestedTargets() const
    {
        QList<QByteArray> targets;
        for (const QByteArray &head : requestHeads())
            targets.append(head.split(' ').value(1));
        return targets;
    }
    int connectionCount() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_connections;
    }
    void clearRecords()
    {
        const QMutexLocker lock(&m_mutex);
        m_requests.clear();
        m_connections = 0;
    }

private:
    void run(QSemaphore &ready)
    {
        QSslServer server;
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(m_certificate.certificate);
        configuration.setPrivateKey(m_certificate.key);
        configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
        server.setSslConfiguration(configuration);

        QObject::connect(&server, &QSslServer::startedEncryptionHandshake, &server, [this](QSslSocket *) {
            const QMutexLocker lock(&m_mutex);
            ++m_connections;
        });
        QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, &server, [this, &server] {
            while (QTcpSocket *socket = server.nextPendingConnection())
                serve(socket);
        });

        m_port = server.listen(QHostAddress::LocalHost, 0) ? server.serverPort() : 0;
        QEventLoop loop;
        ready.release();
        if (m_port != 0)
            loop.exec();
    }

    void serve(QTcpSocket *socket)
    {
        auto received = std::make_shared<QByteArray>();
        const auto onReadyRead = [this, socket, received] {
            received->append(socket->readAll());
            const qsizetype end = received->indexOf("\r\n\r\n");
            if (end < 0 || socket->property("answered").toBool())
                return;
            socket->setProperty("answered", true);
            const QByteArray head = received->left(end);
            const QByteArray target = head.split(' ').value(1);
            Reply reply;
            {
                const QMutexLocker lock(&m_mutex);
                m_requests.append(head);
                const QString path = QString::fromLatin1(target.split('?').value(0));
                if (m_replies.contains(path)) {
                    reply = m_replies.value(path);
                } else {
                    reply.status = 404;
                    reply.body = "no such test resource";
                }
            }
            answer(socket, reply);
        };
        QObject::connect(socket, &QTcpSocket::readyRead, socket, onReadyRead);
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        if (socket->bytesAvailable() > 0)
            onReadyRead();
    }

    static void answer(QTcpSocket *socket, const Reply &reply)
    {
        if (reply.silent)
            return;
        QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) +
                          " Test\r\nContent-Length: " + QByteArray::number(reply.body.size()) +
                          "\r\nConnection: close\r\n";
        if (!reply.location.isEmpty())
            head += "Location: " + reply.location + "\r\n";
        head += "\r\n";
        if (reply.pauseAfter < 0) {
            socket->write(head + reply.body);
            socket->disconnectFromHost();
            return;
        }
        socket->write(head + reply.body.left(reply.pauseAfter));
        const QByteArray rest = reply.body.mid(reply.pauseAfter);
        QTimer::singleShot(reply.pauseMs, socket, [socket, rest] {
            socket->write(rest);
            socket->disconnectFromHost();
        });
    }

    const TestCertificate m_certificate;
    QThread *m_thread = nullptr;
    quint16 m_port = 0;
    mutable QMutex m_mutex;
    QHash<QString, Reply> m_replies;
    QList<QByteArray> m_requests;
    int m_connections = 0;
};

#pragma once

#include "testsupport/testcertificate.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>
#include <QTemporaryDir>
#include <QThread>

#include <memory>

class QSslServer;

// An HTTPS server on 127.0.0.1. It serves from a thread of its own, because the client under
// test blocks its caller. Replies are chosen by request path (404 for any other path), and the
// head of every request is recorded.
class TlsTestServer
{
public:
    struct Reply
    {
        int status = 200;
        QByteArray body = {};
        QByteArray location = {};  // sent as a Location header when not empty
        bool silent = false;       // take the request and never answer it
        qsizetype pauseAfter = -1; // send this many body bytes, pause, then the rest...
        int pauseMs = 200;
        bool drip = false; // ...or pauseAfter bytes again after every pause
    };

    explicit TlsTestServer(const TestCertificate &certificate); // listens on a free port
    ~TlsTestServer();
    Q_DISABLE_COPY_MOVE(TlsTestServer)

    quint16 port() const { return listeningPort; } // 0 when it could not listen
    QString url(const QString &path = {}) const { return baseUrl + path; }
    void setReply(const QString &path, const Reply &reply);
    void setBody(const QString &path, const QByteArray &body) { setReply(path, Reply{.body = body}); }

    // The heads ("GET /x HTTP/1.1\r\nHost: ...") of the requests received, in order, and
    // their targets ("/x").
    QList<QByteArray> requestHeads() const;
    QList<QByteArray> requestedTargets() const;
    void clearRecords();

private:
    QThread thread;
    QSslServer *server; // lives on `thread`, and is deleted there when it ends
    quint16 listeningPort = 0;
    QString baseUrl;
    mutable QMutex mutex;
    QHash<QString, Reply> replies;
    QList<QByteArray> heads;
};

// What the tests of the online code start from: a certificate that the HTTPS client trusts
// (the only one in KVT_CA_BUNDLE), a server presenting it, no proxy in the way, and
// KVT_UPDATE_HOST pointing at that server.
class TlsFixture
{
public:
    bool start(); // false, with the reason in `error`, when openssl or the server fails
    TlsTestServer &server() { return *tlsServer; }
    // Another certificate from the same folder, for a server the client must not trust.
    TestCertificate makeCertificate(const QString &name) const
    {
        return TestCertificate::generate(dir.path(), name);
    }

    TestCertificate certificate;
    QString error;

private:
    QTemporaryDir dir;
    std::unique_ptr<TlsTestServer> tlsServer;
};

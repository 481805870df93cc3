#include "online/httpsclient.h"
#include "testsupport/testcertificate.h"
#include "testsupport/testnetworkenvironment.h"
#include "testsupport/tlstestserver.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {
TlsTestServer::Reply reply(int status, const QByteArray &body = {}, const QByteArray &location = {})
{
    TlsTestServer::Reply r;
    r.status = status;
    r.body = body;
    r.location = location;
    return r;
}
} // namespace

class tst_HttpsClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { server->clearRecords(); }
    void refusedWithoutTouchingTheNetwork_data();
    void refusedWithoutTouchingTheNetwork();
    void sizeLimit_data();
    void sizeLimit();
    void statusAndRedirects_data();
    void statusAndRedirects();
    void onlyThePathIsRequested_data();
    void onlyThePathIsRequested();
    void silentServersAreAbandoned_data();
    void silentServersAreAbandoned();
    void certificateMustBeTrustedAndMatch_data();
    void certificateMustBeTrustedAndMatch();

private:
    QTemporaryDir dir;
    TestCertificate trusted;
    TestCertificate untrusted;
    std::unique_ptr<TlsTestServer> server;
    QTcpServer plainListener;
};

void tst_HttpsClient::initTestCase()
{
    trusted = TestCertificate::generate(dir.path(), u"trusted"_s);
    QVERIFY2(trusted.isValid(), qPrintable(trusted.error));
    untrusted = TestCertificate::generate(dir.path(), u"untrusted"_s);
    QVERIFY2(untrusted.isValid(), qPrintable(untrusted.error));
    server = std::make_unique<TlsTestServer>(trusted);
    QVERIFY(server->start());
    useLocalTestHost(trusted.certificatePath, server->baseUrl());

    server->setBody(u"/ok"_s, "hello");
    server->setReply(u"/missing"_s, reply(404, "missing page"));
    server->setReply(u"/created"_s, reply(201, "made"));
    // /r4 -> /r3 -> /r2 -> /r1 -> /ok: four redirects from /r4, three from /r3.
    for (int i = 1; i <= 4; ++i) {
        const QString next = i == 1 ? u"/ok"_s : u"/r%1"_s.arg(i - 1);
        server->setReply(u"/r%1"_s.arg(i), reply(302, "moved", server->url(next).toUtf8()));
    }
    server->setReply(u"/relative"_s, reply(301, {}, "/ok"));
    // A plain listener, so that following the redirect to http would show as a connection.
    QVERIFY(plainListener.listen(QHostAddress::LocalHost, 0));
    server->setReply(u"/tohttp"_s,
                     reply(302, {}, u"http://127.0.0.1:%1/ok"_s.arg(plainListener.serverPort()).toUtf8()));
    TlsTestServer::Reply silent;
    silent.silent = true;
    server->setReply(u"/silent"_s, silent);
    TlsTestServer::Reply stalls = reply(200, QByteArray(400, 'a'));
    stalls.pauseAfter = 100;
    stalls.pauseMs = 5000;
    server->setReply(u"/stalls"_s, stalls);
}

void tst_HttpsClient::refusedWithoutTouchingTheNetwork_data()
{
    QTest::addColumn<QString>("url");
    const QString hostAndPath = u"127.0.0.1:%1/ok"_s.arg(server->port());
    QTest::addRow("http") << u"http://"_s + hostAndPath;
    QTest::addRow("no scheme") << hostAndPath;
    QTest::addRow("scheme-relative") << u"//"_s + hostAndPath;
}

void tst_HttpsClient::refusedWithoutTouchingTheNetwork()
{
    QFETCH(QString, url);
    const HttpsResult result = httpsGet(url, 1000);
    QCOMPARE(result.error, u"Invalid HTTPS URL."_s);
    QVERIFY(result.body.isEmpty());
    QCOMPARE(server->connectionCount(), 0);
}

void tst_HttpsClient::sizeLimit_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<qsizetype>("pauseAfter");
    QTest::addColumn<qint64>("maxBytes");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QByteArray>("kept");
    const QString tooLarge = u"Response too large."_s;
    const QByteArray twoParts = QByteArray(600, 'a') + QByteArray(500, 'b');
    QTest::addRow("exactly the limit")
        << QByteArray(1000, 'x') << qsizetype(-1) << qint64(1000) << QString() << QByteArray(1000, 'x');
    QTest::addRow("one byte more") << QByteArray(1001, 'y') << qsizetype(-1) << qint64(1000) << tooLarge
                                   << QByteArray();
    QTest::addRow("second chunk crosses")
        << twoParts << qsizetype(600) << qint64(1000) << tooLarge << QByteArray(600, 'a');
}

void tst_HttpsClient::sizeLimit()
{
    QFETCH(QByteArray, sent);
    QFETCH(qsizetype, pauseAfter);
    QFETCH(qint64, maxBytes);
    QFETCH(QString, error);
    QFETCH(QByteArray, kept);
    TlsTestServer::Reply sized = reply(200, sent);
    sized.pauseAfter = pauseAfter;
    server->setReply(u"/sized"_s, sized);
    const HttpsResult result = httpsGet(server->url(u"/sized"_s), maxBytes);
    QCOMPARE(result.error, error);
    QCOMPARE(result.body, kept);
}

void tst_HttpsClient::statusAndRedirects_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QList<QByteArray>>("requested");
    const QString failed = u"Network error."_s;
    QTest::addRow("200 with a body") << u"/ok"_s << QString() << QByteArray("hello")
                                     << QList<QByteArray>{"/ok"};
    QTest::addRow("404 keeps no body")
        << u"/missing"_s << u"HTTP 404"_s << QByteArray() << QList<QByteArray>{"/missing"};
    QTest::addRow("201 is no success")
        << u"/created"_s << u"HTTP 201"_s << QByteArray() << QList<QByteArray>{"/created"};
    QTest::addRow("relative location")
        << u"/relative"_s << QString() << QByteArray("hello") << QList<QByteArray>{"/relative", "/ok"};
    QTest::addRow("three redirects") << u"/r3"_s << QString() << QByteArray("hello")
                                     << QList<QByteArray>{"/r3", "/r2", "/r1", "/ok"};
    QTest::addRow("a fourth is refused")
        << u"/r4"_s << failed << QByteArray() << QList<QByteArray>{"/r4", "/r3", "/r2", "/r1"};
    QTest::addRow("to plain http is refused")
        << u"/tohttp"_s << failed << QByteArray() << QList<QByteArray>{"/tohttp"};
}

void tst_HttpsClient::statusAndRedirects()
{
    QFETCH(QString, path);
    QFETCH(QString, error);
    QFETCH(QByteArray, body);
    QFETCH(QList<QByteArray>, requested);
    const HttpsResult result = httpsGet(server->url(path), 1000);
    QCOMPARE(result.error, error);
    QCOMPARE(result.body, body);
    QCOMPARE(server->requestedTargets(), requested);
    QVERIFY(!plainListener.waitForNewConnection(100));
}

void tst_HttpsClient::onlyThePathIsRequested_data()
{
    QTest::addColumn<QString>("pathAndMore");
    QTest::addColumn<QByteArray>("target");
    QTest::addRow("query and fragment") << u"/ok?token=secret#part"_s << QByteArray("/ok");
    QTest::addRow("no path") << QString() << QByteArray("/");
}

void tst_HttpsClient::onlyThePathIsRequested()
{
    QFETCH(QString, pathAndMore);
    QFETCH(QByteArray, target);
    httpsGet(server->url(pathAndMore), 1000);
    const QList<QByteArray> heads = server->requestHeads();
    QCOMPARE(heads.size(), 1);
    QVERIFY2(heads.first().startsWith("GET " + target + " HTTP/1.1\r\n"), heads.first().constData());
    QVERIFY2(heads.first().contains("\r\nUser-Agent: KVT\r\n"), heads.first().constData());
}

void tst_HttpsClient::silentServersAreAbandoned_data()
{
    QTest::addColumn<QString>("path"); // empty: a TCP listener that never speaks TLS
    QTest::addRow("no TLS handshake") << QString();
    QTest::addRow("no answer") << u"/silent"_s;
    QTest::addRow("stalls midway") << u"/stalls"_s;
}

void tst_HttpsClient::silentServersAreAbandoned()
{
    QFETCH(QString, path);
    QTcpServer mute; // the kernel completes the TCP handshake, nobody answers the TLS hello
    QVERIFY(mute.listen(QHostAddress::LocalHost, 0));
    const QString url =
        path.isEmpty() ? u"https://127.0.0.1:%1/ok"_s.arg(mute.serverPort()) : server->url(path);
    QElapsedTimer clock;
    clock.start();
    const HttpsResult result = httpsGet(url, 1000, 300ms);
    const qint64 elapsed = clock.elapsed();
    QCOMPARE(result.error, u"Network error."_s);
    QVERIFY(result.body.isEmpty());
    QVERIFY2(elapsed >= 250 && elapsed < 3000, qPrintable(QString::number(elapsed)));
}

void tst_HttpsClient::certificateMustBeTrustedAndMatch_data()
{
    QTest::addColumn<bool>("untrustedServer");
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("systemStore");
    QTest::addRow("untrusted certificate") << true << u"127.0.0.1"_s << false;
    QTest::addRow("certificate for another name") << false << u"localhost"_s << false;
    QTest::addRow("system store only") << false << u"127.0.0.1"_s << true;
}

void tst_HttpsClient::certificateMustBeTrustedAndMatch()
{
    QFETCH(bool, untrustedServer);
    QFETCH(QString, host);
    QFETCH(bool, systemStore);
    TlsTestServer other(untrustedServer ? untrusted : trusted);
    QVERIFY(other.start());
    other.setBody(u"/ok"_s, "secret");
    if (systemStore)
        qunsetenv("KVT_CA_BUNDLE");
    const HttpsResult result = httpsGet(u"https://%1:%2/ok"_s.arg(host).arg(other.port()), 1000, 2000ms);
    qputenv("KVT_CA_BUNDLE", trusted.certificatePath.toUtf8());
    QCOMPARE(result.error, u"Network error."_s);
    QVERIFY(other.requestHeads().isEmpty());
}

QTEST_GUILESS_MAIN(tst_HttpsClient)
#include "tst_httpsclient.moc"

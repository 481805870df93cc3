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

class tst_HttpsClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void refusedWithoutTouchingTheNetwork_data();
    void refusedWithoutTouchingTheNetwork();
    void statusDecidesSuccess_data();
    void statusDecidesSuccess();
    void sizeLimit_data();
    void sizeLimit();
    void redirects_data();
    void redirects();
    void onlyThePathIsRequested_data();
    void onlyThePathIsRequested();
    void silentServerIsAbandoned();
    void serverThatNeverHandshakesIsAbandoned();
    void nothingListening();
    void certificateMustBeTrustedAndMatch_data();
    void certificateMustBeTrustedAndMatch();

private:
    QTemporaryDir m_dir;
    TestCertificate m_trusted;
    TestCertificate m_untrusted;
    std::unique_ptr<TlsTestServer> m_server;
};

void tst_HttpsClient::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_trusted = TestCertificate::generate(m_dir.path(), u"trusted"_s);
    QVERIFY2(m_trusted.isValid(), qPrintable(m_trusted.error));
    m_untrusted = TestCertificate::generate(m_dir.path(), u"untrusted"_s);
    QVERIFY2(m_untrusted.isValid(), qPrintable(m_untrusted.error));

    m_server = std::make_unique<TlsTestServer>(m_trusted);
    QVERIFY(m_server->start());
    useLocalTestHost(m_trusted.certificatePath, m_server->baseUrl());

    m_server->setBody(u"/ok"_s, "hello");
    m_server->setBody(u"/empty"_s, {});
    TlsTestServer::Reply notFound;
    notFound.status = 404;
    notFound.body = "missing page";
    m_server->setReply(u"/missing"_s, notFound);
    TlsTestServer::Reply serverError;
    serverError.status = 500;
    serverError.body = "boom";
    m_server->setReply(u"/error"_s, serverError);
    TlsTestServer::Reply noContent;
    noContent.status = 204;
    m_server->setReply(u"/nocontent"_s, noContent);
    TlsTestServer::Reply created;
    created.status = 201;
    created.body = "made";
    m_server->setReply(u"/created"_s, created);

    // A chain /r4 -> /r3 -> /r2 -> /r1 -> /ok: four redirects from /r4, three from /r3.
    for (int i = 1; i <= 4; ++i) {
        TlsTestServer::Reply redirect;
        redirect.status = 302;
        redirect.body = "moved";
        redirect.location = (i == 1 ? m_server->url(u"/ok"_s) : m_server->url(u"/r%1"_s.arg(i - 1))).toUtf8();
        m_server->setReply(u"/r%1"_s.arg(i), redirect);
    }
    TlsTestServer::Reply relative;
    relative.status = 301;
    relative.location = "/ok";
    m_server->setReply(u"/relative"_s, relative);
    TlsTestServer::Reply toPlainHttp;
    toPlainHttp.status = 302;
    toPlainHttp.location = u"http://127.0.0.1:%1/ok"_s.arg(m_server->port()).toUtf8();
    m_server->setReply(u"/tohttp"_s, toPlainHttp);
    TlsTestServer::Reply withoutLocation;
    withoutLocation.status = 302;
    withoutLocation.body = "nowhere";
    m_server->setReply(u"/nolocation"_s, withoutLocation);

    TlsTestServer::Reply silent;
    silent.silent = true;
    m_server->setReply(u"/silent"_s, silent);
    TlsTestServer::Reply stallsMidway;
    stallsMidway.body = QByteArray(400, 'a');
    stallsMidway.pauseAfter = 100;
    stallsMidway.pauseMs = 5000;
    m_server->setReply(u"/stalls"_s, stallsMidway);
}

void tst_HttpsClient::init()
{
    m_server->clearRecords();
}

void tst_HttpsClient::refusedWithoutTouchingTheNetwork_data()
{
    QTest::addColumn<QString>("url");
    const QString hostAndPath = u"127.0.0.1:%1/ok"_s.arg(m_server->port());
    QTest::addRow("http") << u"http://"_s + hostAndPath;
    QTest::addRow("no scheme") << hostAndPath;
    QTest::addRow("scheme-relative") << u"//"_s + hostAndPath;
    QTest::addRow("ftp") << u"ftp://"_s + hostAndPath;
    QTest::addRow("https misspelt") << u"httpss://"_s + hostAndPath;
    QTest::addRow("empty") << QString();
    QTest::addRow("invalid port") << u"https://127.0.0.1:99999/ok"_s;
}

void tst_HttpsClient::refusedWithoutTouchingTheNetwork()
{
    QFETCH(QString, url);
    const HttpsResult result = httpsGet(url, 1000);
    QCOMPARE(result.error, u"Invalid HTTPS URL."_s);
    QVERIFY(result.body.isEmpty());
    QVERIFY(!result.ok());
    QCOMPARE(m_server->connectionCount(), 0);
}

void tst_HttpsClient::statusDecidesSuccess_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QByteArray>("body");
    QTest::addRow("200 with a body") << u"/ok"_s << QString() << QByteArray("hello");
    QTest::addRow("200 without a body") << u"/empty"_s << QString() << QByteArray();
    QTest::addRow("404 keeps no body") << u"/missing"_s << u"HTTP 404"_s << QByteArray();
    QTest::addRow("500") << u"/error"_s << u"HTTP 500"_s << QByteArray();
    QTest::addRow("201 is no success either") << u"/created"_s << u"HTTP 201"_s << QByteArray();
    QTest::addRow("204") << u"/nocontent"_s << u"HTTP 204"_s << QByteArray();
    QTest::addRow("302 without a location") << u"/nolocation"_s << u"HTTP 302"_s << QByteArray();
}

void tst_HttpsClient::statusDecidesSuccess()
{
    QFETCH(QString, path);
    QFETCH(QString, error);
    QFETCH(QByteArray, body);
    const HttpsResult result = httpsGet(m_server->url(path), 1000);
    QCOMPARE(result.error, error);
    QCOMPARE(result.body, body);
    QCOMPARE(result.ok(), error.isEmpty());
}

void tst_HttpsClient::sizeLimit_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<qsizetype>("pauseAfter");
    QTest::addColumn<qint64>("maxBytes");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QByteArray>("kept");
    const QByteArray exact(1000, 'x');
    const QByteArray oneMore(1001, 'y');
    const QByteArray twoParts = QByteArray(600, 'a') + QByteArray(500, 'b');
    QTest::addRow("exactly the limit") << exact << qsizetype(-1) << qint64(1000) << QString() << exact;
    QTest::addRow("one byte more") << oneMore << qsizetype(-1) << qint64(1000) << u"Response too large."_s
                                   << QByteArray();
    QTest::addRow("limit zero, empty body")
        << QByteArray() << qsizetype(-1) << qint64(0) << QString() << QByteArray();
    QTest::addRow("limit zero, one byte")
        << QByteArray("z") << qsizetype(-1) << qint64(0) << u"Response too large."_s << QByteArray();
    QTest::addRow("second chunk crosses")
        << twoParts << qsizetype(600) << qint64(1000) << u"Response too large."_s << QByteArray(600, 'a');
    QTest::addRow("second chunk ends at the limit")
        << twoParts << qsizetype(600) << qint64(1100) << QString() << twoParts;
    QTest::addRow("image limit") << QByteArray(httpsImageLimit, 'i') << qsizetype(-1) << httpsImageLimit
                                 << QString() << QByteArray(httpsImageLimit, 'i');
}

void tst_HttpsClient::sizeLimit()
{
    QFETCH(QByteArray, sent);
    QFETCH(qsizetype, pauseAfter);
    QFETCH(qint64, maxBytes);
    QFETCH(QString, error);
    QFETCH(QByteArray, kept);
    TlsTestServer::Reply reply;
    reply.body = sent;
    reply.pauseAfter = pauseAfter;
    m_server->setReply(u"/sized"_s, reply);
    const HttpsResult result = httpsGet(m_server->url(u"/sized"_s), maxBytes);
    QCOMPARE(result.error, error);
    QCOMPARE(result.body.size(), kept.size());
    QCOMPARE(result.body, kept);
}

void tst_HttpsClient::redirects_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QList<QByteArray>>("requested");
    QTest::addRow("one") << u"/r1"_s << QString() << QList<QByteArray>{"/r1", "/ok"};
    QTest::addRow("relative location")
        << u"/relative"_s << QString() << QList<QByteArray>{"/relative", "/ok"};
    QTest::addRow("three") << u"/r3"_s << QString() << QList<QByteArray>{"/r3", "/r2", "/r1", "/ok"};
    QTest::addRow("a fourth is refused")
        << u"/r4"_s << u"Network error."_s << QList<QByteArray>{"/r4", "/r3", "/r2", "/r1"};
    QTest::addRow("to plain http is refused")
        << u"/tohttp"_s << u"Network error."_s << QList<QByteArray>{"/tohttp"};
}

void tst_HttpsClient::redirects()
{
    QFETCH(QString, path);
    QFETCH(QString, error);
    QFETCH(QList<QByteArray>, requested);
    const HttpsResult result = httpsGet(m_server->url(path), 1000);
    QCOMPARE(result.error, error);
    QCOMPARE(result.body, error.isEmpty() ? QByteArray("hello") : QByteArray());
    QCOMPARE(m_server->requestedTargets(), requested);
}

void tst_HttpsClient::onlyThePathIsRequested_data()
{
    QTest::addColumn<QString>("pathAndMore");
    QTest::addColumn<QByteArray>("target");
    QTest::addRow("query") << u"/ok?token=secret&x=1"_s << QByteArray("/ok");
    QTest::addRow("fragment") << u"/ok#part"_s << QByteArray("/ok");
    QTest::addRow("both") << u"/ok?q=1#part"_s << QByteArray("/ok");
    QTest::addRow("encoded space") << u"/a%20b?q"_s << QByteArray("/a%20b");
    QTest::addRow("no path") << QString() << QByteArray("/");
}

void tst_HttpsClient::onlyThePathIsRequested()
{
    QFETCH(QString, pathAndMore);
    QFETCH(QByteArray, target);
    httpsGet(m_server->url(pathAndMore), 1000);
    const QList<QByteArray> heads = m_server->requestHeads();
    QCOMPARE(heads.size(), 1);
    QVERIFY2(heads.first().startsWith("GET " + target + " HTTP/1.1\r\n"), heads.first().constData());
    QVERIFY2(heads.first().contains("\r\nUser-Agent: KVT\r\n"), heads.first().constData());
}

void tst_HttpsClient::silentServerIsAbandoned()
{
    for (const QString &path : {u"/silent"_s, u"/stalls"_s}) {
        QElapsedTimer clock;
        clock.start();
        const HttpsResult result = httpsGet(m_server->url(path), 1000, 300ms);
        const qint64 elapsed = clock.elapsed();
        QCOMPARE(result.error, u"Network error."_s);
        QVERIFY(result.body.isEmpty());
        QVERIFY2(elapsed >= 300 && elapsed < 3000, qPrintable(QString::number(elapsed)));
    }
}

void tst_HttpsClient::serverThatNeverHandshakesIsAbandoned()
{
    // The kernel completes the TCP handshake; nobody ever answers the TLS hello.
    QTcpServer mute;
    QVERIFY(mute.listen(QHostAddress::LocalHost, 0));
    QElapsedTimer clock;
    clock.start();
    const HttpsResult result = httpsGet(u"https://127.0.0.1:%1/ok"_s.arg(mute.serverPort()), 1000, 300ms);
    const qint64 elapsed = clock.elapsed();
    QCOMPARE(result.error, u"Network error."_s);
    QVERIFY2(elapsed >= 250 && elapsed < 3000, qPrintable(QString::number(elapsed)));
}

void tst_HttpsClient::nothingListening()
{
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
    const quint16 freePort = probe.serverPort();
    probe.close();
    const HttpsResult result = httpsGet(u"https://127.0.0.1:%1/ok"_s.arg(freePort), 1000, 300ms);
    QCOMPARE(result.error, u"Network error."_s);
}

void tst_HttpsClient::certificateMustBeTrustedAndMatch_data()
{
    QTest::addColumn<bool>("untrustedServer");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("caBundle");
    QTest::addRow("untrusted certificate") << true << u"127.0.0.1"_s << m_trusted.certificatePath;
    QTest::addRow("certificate for another name") << false << u"localhost"_s << m_trusted.certificatePath;
    QTest::addRow("system store only") << false << u"127.0.0.1"_s << QString();
}

void tst_HttpsClient::certificateMustBeTrustedAndMatch()
{
    QFETCH(bool, untrustedServer);
    QFETCH(QString, host);
    QFETCH(QString, caBundle);
    TlsTestServer other(untrustedServer ? m_untrusted : m_trusted);
    QVERIFY(other.start());
    other.setBody(u"/ok"_s, "secret");
    qputenv("KVT_CA_BUNDLE", caBundle.toUtf8());
    const HttpsResult result = httpsGet(u"https://%1:%2/ok"_s.arg(host).arg(other.port()), 1000, 2000ms);
    qputenv("KVT_CA_BUNDLE", m_trusted.certificatePath.toUtf8());
    QCOMPARE(result.error, u"Network error."_s);
    QVERIFY(result.body.isEmpty());
    QVERIFY(other.requestHeads().isEmpty());
}

QTEST_GUILESS_MAIN(tst_HttpsClient)
#include "tst_httpsclient.moc"

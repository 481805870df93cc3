#include "online/httpsclient.h"
#include "testsupport/tlstestserver.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class tst_HttpsClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { tls.server().clearRecords(); }
    void get_data();
    void get();
    void slowServersAreAbandoned_data();
    void slowServersAreAbandoned();
    void certificateMustBeTrustedAndMatch_data();
    void certificateMustBeTrustedAndMatch();

private:
    TlsFixture tls;
    QTcpServer plainListener; // never speaks TLS; a redirect to http that is followed shows here
};

void tst_HttpsClient::initTestCase()
{
    QVERIFY2(tls.start(), qPrintable(tls.error));
    TlsTestServer &server = tls.server();
    QVERIFY(plainListener.listen(QHostAddress::LocalHost, 0));
    const auto add = [&](const QString &path, int status, const QByteArray &body,
                         const QString &location = {}) {
        server.setReply(path, {.status = status, .body = body, .location = location.toUtf8()});
    };
    add(u"/ok"_s, 200, "hello");
    add(u"/created"_s, 201, "made");
    // /r4 -> /r3 -> /r2 -> /r1 -> /ok: four redirects from /r4, three from /r3.
    for (int i = 1; i <= 4; ++i)
        add(u"/r%1"_s.arg(i), 302, "moved", server.url(i == 1 ? u"/ok"_s : u"/r%1"_s.arg(i - 1)));
    add(u"/relative"_s, 301, {}, u"/ok"_s);
    add(u"/tohttp"_s, 302, {}, u"http://127.0.0.1:%1/ok"_s.arg(plainListener.serverPort()));
    add(u"/exact"_s, 200, QByteArray(1000, 'x'));
    add(u"/over"_s, 200, QByteArray(1001, 'y'));
    server.setReply(u"/crosses"_s, {.body = QByteArray(600, 'a') + QByteArray(500, 'b'), .pauseAfter = 600});
    server.setReply(u"/silent"_s, {.silent = true});
    server.setReply(u"/stalls"_s, {.body = QByteArray(400, 'a'), .pauseAfter = 100, .pauseMs = 5000});
    // A byte every 300 ms keeps any idle limit quiet; it would take half a minute to finish.
    server.setReply(u"/drips"_s,
                    {.body = QByteArray(100, 'd'), .pauseAfter = 1, .pauseMs = 300, .drip = true});
}

void tst_HttpsClient::get_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QList<QByteArray>>("requested");
    const QString url = tls.server().url();
    const QString failed = u"Network error."_s;
    const QString tooLarge = u"Response too large."_s;
    QTest::addRow("200") << url + u"/ok"_s << QString() << QByteArray("hello") << QList<QByteArray>{"/ok"};
    QTest::addRow("any status but 200 fails")
        << url + u"/created"_s << u"HTTP 201"_s << QByteArray() << QList<QByteArray>{"/created"};
    QTest::addRow("query and fragment are not sent")
        << url + u"/ok?token=secret#part"_s << QString() << QByteArray("hello") << QList<QByteArray>{"/ok"};
    QTest::addRow("http") << QString(url).replace(u"https:"_s, u"http:"_s) + u"/ok"_s
                          << u"Invalid HTTPS URL."_s << QByteArray() << QList<QByteArray>{};
    QTest::addRow("relative location")
        << url + u"/relative"_s << QString() << QByteArray("hello") << QList<QByteArray>{"/relative", "/ok"};
    QTest::addRow("three redirects") << url + u"/r3"_s << QString() << QByteArray("hello")
                                     << QList<QByteArray>{"/r3", "/r2", "/r1", "/ok"};
    QTest::addRow("a fourth is refused")
        << url + u"/r4"_s << failed << QByteArray() << QList<QByteArray>{"/r4", "/r3", "/r2", "/r1"};
    QTest::addRow("redirect to plain http is refused")
        << url + u"/tohttp"_s << failed << QByteArray() << QList<QByteArray>{"/tohttp"};
    QTest::addRow("exactly the limit")
        << url + u"/exact"_s << QString() << QByteArray(1000, 'x') << QList<QByteArray>{"/exact"};
    QTest::addRow("one byte over") << url + u"/over"_s << tooLarge << QByteArray()
                                   << QList<QByteArray>{"/over"};
    QTest::addRow("second chunk crosses the limit")
        << url + u"/crosses"_s << tooLarge << QByteArray(600, 'a') << QList<QByteArray>{"/crosses"};
}

void tst_HttpsClient::get()
{
    QFETCH(QString, url);
    QFETCH(QString, error);
    QFETCH(QByteArray, body);
    QFETCH(QList<QByteArray>, requested);
    const HttpsResult result = httpsGet(url, 1000);
    QCOMPARE(result.error, error);
    QCOMPARE(result.body, body);
    QCOMPARE(tls.server().requestedTargets(), requested);
    for (const QByteArray &head : tls.server().requestHeads())
        QVERIFY2(head.contains("\r\nUser-Agent: KVT\r\n"), head.constData());
    QVERIFY(!plainListener.waitForNewConnection(100));
}

void tst_HttpsClient::slowServersAreAbandoned_data()
{
    QTest::addColumn<QString>("path"); // empty: a TCP listener that never speaks TLS
    QTest::addColumn<int>("idleMs");
    QTest::addColumn<int>("deadlineMs"); // 0: the default for the size
    QTest::addColumn<int>("atLeastMs");
    QTest::addColumn<int>("withinMs"); // curl looks at an idle transfer about once a second
    QTest::addRow("no TLS handshake") << QString() << 300 << 0 << 250 << 3000;
    QTest::addRow("no answer") << u"/silent"_s << 300 << 0 << 250 << 3000;
    QTest::addRow("stalls midway") << u"/stalls"_s << 300 << 0 << 250 << 3000;
    QTest::addRow("drips past the deadline") << u"/drips"_s << 5000 << 1000 << 950 << 2000;
}

void tst_HttpsClient::slowServersAreAbandoned()
{
    QFETCH(QString, path);
    QFETCH(int, idleMs);
    QFETCH(int, deadlineMs);
    QFETCH(int, atLeastMs);
    QFETCH(int, withinMs);
    // Without a path: the kernel completes the TCP handshake, nobody answers the TLS hello.
    const QString url = path.isEmpty() ? u"https://127.0.0.1:%1/ok"_s.arg(plainListener.serverPort())
                                       : tls.server().url(path);
    QElapsedTimer clock;
    clock.start();
    const HttpsResult result = httpsGet(url, 1000, idleMs * 1ms, deadlineMs * 1ms);
    const qint64 elapsed = clock.elapsed();
    QCOMPARE(result.error, u"Network error."_s);
    QVERIFY2(elapsed >= atLeastMs && elapsed < withinMs, qPrintable(QString::number(elapsed)));
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
    const TestCertificate presented = untrustedServer ? tls.makeCertificate(u"untrusted"_s) : tls.certificate;
    QVERIFY2(presented.error.isEmpty(), qPrintable(presented.error));
    TlsTestServer other(presented);
    QVERIFY(other.port() != 0);
    other.setBody(u"/ok"_s, "secret");
    if (systemStore)
        qunsetenv("KVT_CA_BUNDLE");
    const HttpsResult result = httpsGet(u"https://%1:%2/ok"_s.arg(host).arg(other.port()), 1000, 2000ms);
    qputenv("KVT_CA_BUNDLE", tls.certificate.certificatePath.toUtf8());
    QCOMPARE(result.error, u"Network error."_s);
    QVERIFY(other.requestHeads().isEmpty());
}

QTEST_GUILESS_MAIN(tst_HttpsClient)
#include "tst_httpsclient.moc"

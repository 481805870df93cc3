#include "common/settingskeys.h"
#include "online/deployment.h"
#include "online/httpsclient.h"
#include "online/updatedialogs.h"
#include "online/versionchecker.h"
#include "testsupport/tlstestserver.h"

#include <QAbstractButton>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPointer>
#include <QSettings>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QByteArray versionJson(const QString &latest, const QString &minVersion = {}, const QString &key = u"revit"_s)
{
    QByteArray entry = "\"latest\": \"" + latest.toUtf8() +
                       "\", \"released\": \"2026-05-01\", \"download_path\": \"/download/revit/\"";
    if (!minVersion.isNull())
        entry += ", \"min_version\": \"" + minVersion.toUtf8() + "\"";
    return "{\"converters\": {\"" + key.toUtf8() + "\": {" + entry + "}}, \"other\": 1}";
}

} // namespace

class tst_VersionChecker : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    // Stands in for the desktop's web browser.
    void openUrl(const QUrl &url) { openedUrls.append(url); }

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(u"https"_s); }
    void init();
    void isNewer_data();
    void isNewer();
    void parse_data();
    void parse();
    void unsafeDownloadPathLeadsToTheOverview_data();
    void unsafeDownloadPathLeadsToTheOverview();
    void schedule_data();
    void schedule();
    void checkerDeletedBeforeTheAnswer();
    void checks_data();
    void checks();

private:
    TlsFixture tls;
    QTemporaryDir dir;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<QWidget> window;
    QList<QUrl> openedUrls;
};

void tst_VersionChecker::initTestCase()
{
    QVERIFY2(tls.start(), qPrintable(tls.error));
    QDesktopServices::setUrlHandler(u"https"_s, this, "openUrl");
}

void tst_VersionChecker::init()
{
    tls.server().clearRecords();
    openedUrls.clear();
    QFile::remove(dir.filePath(u"settings.ini"_s));
    settings = std::make_unique<QSettings>(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
    window = std::make_unique<QWidget>();
}

void tst_VersionChecker::isNewer_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("newer");
    QTest::addRow("shorter equals padded") << u"18.1"_s << u"18.1.0"_s << false;
    QTest::addRow("numeric, not text") << u"18.10.0"_s << u"18.9.0"_s << true;
    QTest::addRow("older") << u"18.0.9"_s << u"18.1.0"_s << false;
    QTest::addRow("text part is zero") << u"18.x.1"_s << u"18.0.0"_s << true;
}

void tst_VersionChecker::isNewer()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, newer);
    QCOMPARE(VersionChecker::isNewer(a, b), newer);
}

void tst_VersionChecker::parse_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("updateAvailable");
    QTest::addColumn<bool>("belowMinimum");
    const QString invalid = u"Invalid response from update server."_s;
    QTest::addRow("minimum equal to us") << versionJson(u"18.2.0"_s, u"18.1"_s) << QString() << true << false;
    QTest::addRow("other converter only")
        << versionJson(u"19.0"_s, {}, u"ifc"_s) << u"No version info available for this converter."_s << false
        << false;
    QTest::addRow("broken JSON") << QByteArray(R"({"converters": {)") << invalid << false << false;
    QTest::addRow("array root") << QByteArray(R"([{"converters":{}}])") << invalid << false << false;
}

void tst_VersionChecker::parse()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, error);
    QFETCH(bool, updateAvailable);
    QFETCH(bool, belowMinimum);
    const VersionInfo info = VersionChecker::parse(json, u"revit"_s);
    QCOMPARE(info.error, error);
    QCOMPARE(info.updateAvailable, updateAvailable);
    QCOMPARE(info.belowMinimum, belowMinimum);
    QCOMPARE(info.downloadPath, error.isEmpty() ? u"/download/revit/"_s : QString());
}

void tst_VersionChecker::unsafeDownloadPathLeadsToTheOverview_data()
{
    QTest::addColumn<QString>("downloadPath");
    QTest::addRow("two slashes") << u"//evil.example.net/x"_s;
    QTest::addRow("absolute URL") << u"https://evil.example.net/x"_s;
}

void tst_VersionChecker::unsafeDownloadPathLeadsToTheOverview()
{
    QFETCH(QString, downloadPath);
    QCOMPARE(VersionChecker::downloadLink(downloadPath),
             QUrl(Deployment::vendorSiteUrl() + u"/convertors/"_s));
}

void tst_VersionChecker::schedule_data()
{
    QTest::addColumn<QVariant>("enabled");
    QTest::addColumn<QVariant>("intervalDays");
    QTest::addColumn<QVariant>("lastCheck");
    QTest::addColumn<bool>("due");
    const QDateTime now(QDate(2026, 3, 10), QTime(12, 0));
    const QVariant unset;
    QTest::addRow("never checked") << unset << unset << unset << true;
    QTest::addRow("switched off") << QVariant(false) << unset << unset << false;
    QTest::addRow("6 days 23 hours ago")
        << unset << unset << QVariant(now.addDays(-7).addSecs(3600)) << false;
    QTest::addRow("7 days ago") << unset << unset << QVariant(now.addDays(-7)) << true;
    QTest::addRow("daily, 25 hours ago") << unset << QVariant(1) << QVariant(now.addSecs(-25 * 3600)) << true;
    QTest::addRow("unparsable last check") << unset << unset << QVariant(u"last tuesday"_s) << true;
    QTest::addRow("last check in the future") << unset << unset << QVariant(now.addDays(2)) << true;
}

void tst_VersionChecker::schedule()
{
    QFETCH(QVariant, enabled);
    QFETCH(QVariant, intervalDays);
    QFETCH(QVariant, lastCheck);
    QFETCH(bool, due);
    const QList<std::pair<QString, QVariant>> values{{SettingsKeys::autoCheckUpdates(), enabled},
                                                     {SettingsKeys::updateIntervalDays(), intervalDays},
                                                     {SettingsKeys::lastUpdateCheck(), lastCheck}};
    for (const auto &[key, value] : values)
        if (value.isValid())
            settings->setValue(key, value);
    settings->sync();
    // Read back from the file, as the program would after a restart.
    QSettings reread(settings->fileName(), QSettings::IniFormat);
    QCOMPARE(VersionChecker::isAutomaticCheckDue(&reread, QDateTime(QDate(2026, 3, 10), QTime(12, 0))), due);
}

void tst_VersionChecker::checkerDeletedBeforeTheAnswer()
{
    tls.server().setReply(u"/releases/version.json"_s,
                          {.body = versionJson(u"19.0"_s), .pauseAfter = 10, .pauseMs = 300});
    bool heard = false;
    auto *checker = new VersionChecker(u"revit"_s);
    connect(checker, &VersionChecker::finished, this, [&heard] { heard = true; });
    checker->check();
    delete checker;
    // Let the worker finish and its queued report come and go.
    QTRY_COMPARE_WITH_TIMEOUT(tls.server().requestHeads().size(), 1, 5000);
    QTest::qWait(800);
    QVERIFY(!heard);
}

void tst_VersionChecker::checks_data()
{
    QTest::addColumn<bool>("manual");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("lastCheckDaysAgo"); // -1: never checked
    QTest::addColumn<bool>("asks");
    QTest::addColumn<QString>("title"); // empty: no box
    QTest::addColumn<QString>("textPart");
    QTest::addColumn<QString>("openedPath"); // empty: the box offers no site
    const QString download = u"/download/revit/"_s;
    QTest::addRow("automatic, unsupported")
        << false << 200 << versionJson(u"18.2.0"_s, u"18.2"_s) << 30 << true
        << u"Version No Longer Supported"_s << u"minimum supported version <b>18.2</b>"_s << download;
    QTest::addRow("automatic, up to date is silent")
        << false << 200 << versionJson(u"18.1.0"_s) << -1 << true << QString() << QString() << QString();
    QTest::addRow("automatic, failure is silent")
        << false << 500 << QByteArray() << 8 << true << QString() << QString() << QString();
    QTest::addRow("automatic, not due")
        << false << 200 << versionJson(u"19.0"_s) << 1 << false << QString() << QString() << QString();
    QTest::addRow("manual, up to date") << true << 200 << versionJson(u"18.1.0"_s) << 1 << true
                                        << u"No Updates"_s << u"(18.1.0)"_s << QString();
    QTest::addRow("manual, server text is not markup")
        << true << 200 << versionJson(u"19.<i>"_s) << -1 << true << u"Update Available"_s
        << u"<b>19.&lt;i&gt;</b> (released 2026-05-01)"_s << download;
    QTest::addRow("manual, too large")
        << true << 200 << QByteArray(httpsJsonLimit + 1, ' ') << -1 << true << u"Update Check Failed"_s
        << u"<br>Network error: Response too large."_s << u"/convertors/"_s;
}

void tst_VersionChecker::checks()
{
    QFETCH(bool, manual);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(int, lastCheckDaysAgo);
    QFETCH(bool, asks);
    QFETCH(QString, title);
    QFETCH(QString, textPart);
    QFETCH(QString, openedPath);
    tls.server().setReply(u"/releases/version.json"_s, {.status = status, .body = body});
    const QDateTime started = QDateTime::currentDateTime();
    if (lastCheckDaysAgo >= 0)
        settings->setValue(SettingsKeys::lastUpdateCheck(), started.addDays(-lastCheckDaysAgo));
    const QVariant lastCheckBefore = settings->value(SettingsKeys::lastUpdateCheck());

    QPointer<VersionChecker> checker =
        manual ? UpdateDialogs::startManualCheck(u"revit"_s, window.get())
               : UpdateDialogs::startAutomaticCheck(settings.get(), u"revit"_s, window.get());
    QCOMPARE(!checker.isNull(), asks);
    QTRY_VERIFY_WITH_TIMEOUT(checker.isNull(), 10000); // deleted once its answer is handled
    QCOMPARE(tls.server().requestedTargets(),
             asks ? QList<QByteArray>{"/releases/version.json"} : QList<QByteArray>());
    // Only an automatic check that ran moves the schedule on, whatever its outcome.
    if (asks && !manual)
        QVERIFY(settings->value(SettingsKeys::lastUpdateCheck()).toDateTime() >= started.addSecs(-1));
    else
        QCOMPARE(settings->value(SettingsKeys::lastUpdateCheck()), lastCheckBefore);

    QList<QMessageBox *> boxes = window->findChildren<QMessageBox *>();
    QCOMPARE(boxes.size(), title.isEmpty() ? 0 : 1);
    if (title.isEmpty())
        return;
    QPointer<QMessageBox> box = boxes.first();
    QVERIFY(box->isVisible());
    QCOMPARE(box->windowTitle(), title);
    QVERIFY2(box->text().contains(textPart), qPrintable(box->text()));
    // "Open Site", in the accept role, opens the page; Close and OK open nothing.
    QAbstractButton *openSite = nullptr;
    QAbstractButton *other = nullptr;
    for (QAbstractButton *button : box->buttons())
        (button->text() == u"Open Site"_s ? openSite : other) = button;
    QVERIFY(other);
    QCOMPARE(openSite != nullptr, !openedPath.isEmpty());
    if (openSite)
        QCOMPARE(box->buttonRole(openSite), QMessageBox::AcceptRole);
    (openSite ? openSite : other)->click();
    QCOMPARE(openedUrls,
             openSite ? QList<QUrl>{QUrl(Deployment::vendorSiteUrl() + openedPath)} : QList<QUrl>());
    QTRY_VERIFY(box.isNull()); // closed boxes delete themselves
}

QTEST_MAIN(tst_VersionChecker)
#include "tst_versionchecker.moc"

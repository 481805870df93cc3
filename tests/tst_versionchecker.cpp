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

// The host's answer for one converter; we are 18.1.0.
QByteArray versionJson(const QString &latest, const QString &minVersion = {}, const QString &key = u"revit"_s)
{
    return u"{\"converters\": {\"%1\": {\"latest\": \"%2\", \"released\": \"2026-05-01\", \"download_path\": "
           "\"/download/revit/\", \"min_version\": \"%3\"}}, \"other\": 1}"_s.arg(key, latest, minVersion)
               .toUtf8();
}

} // namespace

class tst_VersionChecker : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void openUrl(const QUrl &url) { openedUrls.append(url); } // stands in for the web browser

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(u"https"_s); }
    void init();
    void rules();
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
    settings = std::make_unique<QSettings>(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings->clear();
    window = std::make_unique<QWidget>();
}

// The decisions that the checks below do not reach: versions, the answer's details, links.
void tst_VersionChecker::rules()
{
    QVERIFY(VersionChecker::isNewer(u"18.10.0"_s, u"18.9.0"_s)); // numbers, not text
    QVERIFY(VersionChecker::isNewer(u"18.x.1"_s, u"18.0.0"_s));  // a part that is no number is 0
    const VersionInfo atMinimum = VersionChecker::parse(versionJson(u"18.2.0"_s, u"18.1"_s), u"revit"_s);
    QVERIFY(atMinimum.updateAvailable && !atMinimum.belowMinimum);
    QCOMPARE(VersionChecker::parse(versionJson(u"19.0"_s, {}, u"ifc"_s), u"revit"_s).error,
             u"No version info available for this converter."_s);
    const QUrl overview(Deployment::vendorSiteUrl() + u"/convertors/"_s);
    QCOMPARE(VersionChecker::downloadLink(u"//evil.example.net/x"_s), overview);
    QCOMPARE(VersionChecker::downloadLink(u"https://evil.example.net/x"_s), overview);
}

void tst_VersionChecker::checks_data()
{
    QTest::addColumn<bool>("manual");
    QTest::addColumn<QVariantList>("stored"); // automatic checks, interval in days, last check
    QTest::addColumn<bool>("asks");
    QTest::addColumn<QByteArray>("body"); // empty: the host fails with 500
    QTest::addColumn<QStringList>("box"); // title, part of the text, page "Open Site" opens; empty: none
    const QDateTime now = QDateTime::currentDateTime();
    const QVariant unset;
    const QVariantList weekAgo{unset, unset, now.addDays(-7)};
    const QByteArray upToDate = versionJson(u"18.1.0"_s);
    const QStringList silent;
    QTest::addRow("automatic, never checked, unsupported")
        << false << QVariantList{unset, unset, unset} << true << versionJson(u"18.2.0"_s, u"18.2"_s)
        << QStringList{u"Version No Longer Supported"_s, u"minimum supported version <b>18.2</b>"_s,
                       u"/download/revit/"_s};
    QTest::addRow("automatic, 7 days ago, silent") << false << weekAgo << true << upToDate << silent;
    QTest::addRow("automatic, 6 days 23 hours ago")
        << false << QVariantList{unset, unset, now.addDays(-7).addSecs(3600)} << false << upToDate << silent;
    QTest::addRow("automatic, daily, 25 hours ago")
        << false << QVariantList{unset, 1, now.addSecs(-25 * 3600)} << true << upToDate << silent;
    QTest::addRow("automatic, last check in the future, failure is silent")
        << false << QVariantList{unset, unset, now.addDays(2)} << true << QByteArray() << silent;
    QTest::addRow("automatic, off") << false << QVariantList{false, unset, unset} << false << upToDate
                                    << silent;
    QTest::addRow("manual, switched off, 18.1 is 18.1.0")
        << true << QVariantList{false, unset, now} << true << versionJson(u"18.1"_s)
        << QStringList{u"No Updates"_s, u"(18.1.0)"_s, QString()};
    QTest::addRow("manual, server text is not markup")
        << true << weekAgo << true << versionJson(u"19.<i>"_s)
        << QStringList{u"Update Available"_s, u"<b>19.&lt;i&gt;</b> (released 2026-05-01)"_s,
                       u"/download/revit/"_s};
    QTest::addRow("manual, too large")
        << true << weekAgo << true << QByteArray(httpsJsonLimit + 1, ' ')
        << QStringList{u"Update Check Failed"_s, u"Network error: Response too large."_s, u"/convertors/"_s};
}

void tst_VersionChecker::checks()
{
    QFETCH(bool, manual);
    QFETCH(QVariantList, stored);
    QFETCH(bool, asks);
    QFETCH(QByteArray, body);
    QFETCH(QStringList, box);
    tls.server().setReply(u"/releases/version.json"_s, {.status = body.isEmpty() ? 500 : 200, .body = body});
    const QStringList keys{SettingsKeys::autoCheckUpdates(), SettingsKeys::updateIntervalDays(),
                           SettingsKeys::lastUpdateCheck()};
    for (int i = 0; i < keys.size(); ++i)
        if (stored.at(i).isValid())
            settings->setValue(keys.at(i), stored.at(i));
    settings->sync(); // and read back from the file, as after a restart
    QSettings reread(settings->fileName(), QSettings::IniFormat);

    QPointer<VersionChecker> checker =
        manual ? UpdateDialogs::startManualCheck(u"revit"_s, window.get())
               : UpdateDialogs::startAutomaticCheck(&reread, u"revit"_s, window.get());
    QCOMPARE(!checker.isNull(), asks);
    QTRY_VERIFY_WITH_TIMEOUT(checker.isNull(), 10000); // deleted once its answer is handled
    QCOMPARE(tls.server().requestedTargets().size(), asks ? 1 : 0);
    // Only an automatic check that ran moves the schedule on, whatever its outcome.
    QCOMPARE(reread.value(keys.at(2)) != stored.at(2), asks && !manual);

    const QList<QMessageBox *> boxes = window->findChildren<QMessageBox *>();
    QCOMPARE(boxes.size(), box.isEmpty() ? 0 : 1);
    if (box.isEmpty())
        return;
    QCOMPARE(boxes.first()->windowTitle(), box.at(0));
    QVERIFY2(boxes.first()->text().contains(box.at(1)), qPrintable(boxes.first()->text()));
    // The accepting button is "Open Site" where the box offers the site, else OK.
    boxes.first()->buttons().first()->click();
    QCOMPARE(openedUrls, box.at(2).isEmpty() ? QList<QUrl>()
                                             : QList<QUrl>{QUrl(Deployment::vendorSiteUrl() + box.at(2))});
}

QTEST_MAIN(tst_VersionChecker)
#include "tst_versionchecker.moc"

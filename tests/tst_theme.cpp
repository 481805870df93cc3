#include "app/desktopportal.h"
#include "app/theme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QVBoxLayout>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

QStringList capturedWarnings;

void captureWarnings(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    // The offscreen platform reports what it cannot do; that says nothing about the sheets.
    if (type != QtDebugMsg && type != QtInfoMsg && !message.startsWith("This plugin does not support"_L1))
        capturedWarnings << message;
}

// Stands in for the desktop portal's Settings interface on a private bus.
class FakePortal final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    bool hang = false; // never answer, like a portal that is stuck

public Q_SLOTS:
    QDBusVariant Read(const QString &nameSpace, const QString &key)
    {
        if (hang || nameSpace != "org.freedesktop.appearance"_L1 || key != "color-scheme"_L1) {
            setDelayedReply(true);
            return {};
        }
        // The portal wraps the value in a second variant; 1 is dark.
        return QDBusVariant(QVariant::fromValue(QDBusVariant(QVariant(1u))));
    }
};

QVariant nested(const QVariant &value, int depth)
{
    QVariant v = value;
    for (int i = 0; i < depth; ++i)
        v = QVariant::fromValue(QDBusVariant(v));
    return v;
}

} // namespace

class tst_Theme : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void storedThemeDecides_data();
    void storedThemeDecides();
    void colorSchemeRule_data();
    void colorSchemeRule();
    void portalReplyIsUnwrapped_data();
    void portalReplyIsUnwrapped();
    void portalOverPrivateBus_data();
    void portalOverPrivateBus();
    void withoutBusesAnswersFast();
    void styleSheets_data();
    void styleSheets();

private:
    QTemporaryDir scratch;
    QProcess busDaemon;
    QString busAddress;
};

void tst_Theme::initTestCase()
{
    QVERIFY(scratch.isValid());
    // No session bus for this process: systemPrefersDark must fall back at once. The private
    // bus below is reached only through connections made explicitly.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + scratch.filePath(u"no-bus-here"_s).toLocal8Bit());
    const QString daemon = QStandardPaths::findExecutable(u"dbus-daemon"_s);
    if (daemon.isEmpty())
        return;
    // A bus of our own, without service activation, so no real portal can be started.
    QFile config(scratch.filePath(u"bus.conf"_s));
    QVERIFY(config.open(QIODevice::WriteOnly));
    config.write(
        u"<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
        "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\"><busconfig><type>session</type>"
        "<listen>unix:dir=%1</listen><policy context=\"default\"><allow send_destination=\"*\" "
        "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>"_s
            .arg(scratch.path())
            .toUtf8());
    config.close();
    busDaemon.start(daemon,
                    {u"--config-file=%1"_s.arg(config.fileName()), u"--nofork"_s, u"--print-address"_s});
    QVERIFY(busDaemon.waitForStarted(5000));
    QTRY_VERIFY_WITH_TIMEOUT(busDaemon.canReadLine() || !busDaemon.waitForReadyRead(100), 5000);
    busAddress = QString::fromUtf8(busDaemon.readLine()).trimmed();
    QVERIFY2(!busAddress.isEmpty(), "dbus-daemon printed no address");
}

void tst_Theme::cleanupTestCase()
{
    busDaemon.terminate();
    QVERIFY(busDaemon.state() == QProcess::NotRunning || busDaemon.waitForFinished(3000));
}

void tst_Theme::storedThemeDecides_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<bool>("systemDark");
    QTest::addColumn<bool>("expectedDark");
    QTest::addColumn<bool>("systemAsked");
    QTest::addRow("dark wins over a light system") << QVariant(u"dark"_s) << false << true << false;
    QTest::addRow("light wins over a dark system") << QVariant(u"light"_s) << true << false << false;
    QTest::addRow("auto follows a dark system") << QVariant(u"auto"_s) << true << true << true;
    QTest::addRow("missing value is auto") << QVariant() << true << true << true;
    QTest::addRow("capital Dark is not dark") << QVariant(u"Dark"_s) << false << false << true;
}

void tst_Theme::storedThemeDecides()
{
    QFETCH(QVariant, stored);
    QFETCH(bool, systemDark);
    QFETCH(bool, expectedDark);
    QFETCH(bool, systemAsked);
    QSettings settings(scratch.filePath(u"%1.ini"_s.arg(QString::fromLatin1(QTest::currentDataTag()))),
                       QSettings::IniFormat);
    if (stored.isValid())
        settings.setValue(u"global/theme"_s, stored);
    settings.sync();
    // Read back through a fresh store, as the program does at start-up.
    const QSettings reread(settings.fileName(), QSettings::IniFormat);
    int asked = 0;
    QCOMPARE(isDarkTheme(reread, [&] { return ++asked, systemDark; }), expectedDark);
    QCOMPARE(asked, systemAsked ? 1 : 0);
}

void tst_Theme::colorSchemeRule_data()
{
    QTest::addColumn<std::optional<uint>>("scheme");
    QTest::addColumn<QColor>("window");
    QTest::addColumn<bool>("dark");
    const QColor light(0xef, 0xef, 0xef);
    const QColor darkGrey(0x2b, 0x2b, 0x2b);
    QTest::addRow("portal dark beats a light palette") << std::optional<uint>(1) << light << true;
    QTest::addRow("portal light beats a dark palette") << std::optional<uint>(2) << darkGrey << false;
    QTest::addRow("no preference uses a dark palette") << std::optional<uint>(0) << darkGrey << true;
    QTest::addRow("no portal, dark palette") << std::optional<uint>() << darkGrey << true;
    QTest::addRow("unknown value uses the palette") << std::optional<uint>(7) << light << false;
}

void tst_Theme::colorSchemeRule()
{
    QFETCH(std::optional<uint>, scheme);
    QFETCH(QColor, window);
    QFETCH(bool, dark);
    QCOMPARE(colorSchemePrefersDark(scheme, window), dark);
    // The registry rule on Windows: dark exactly when AppsUseLightTheme is 0, missing is light.
    QCOMPARE(appsUseLightThemePrefersDark(QVariant()), false);
    QCOMPARE(appsUseLightThemePrefersDark(0), true);
    QCOMPARE(appsUseLightThemePrefersDark(1), false);
}

void tst_Theme::portalReplyIsUnwrapped_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<std::optional<uint>>("expected");
    QTest::addRow("Read: variant in variant") << nested(QVariant(1u), 2) << std::optional<uint>(1);
    QTest::addRow("ReadOne: one variant") << nested(QVariant(2u), 1) << std::optional<uint>(2);
    QTest::addRow("text is no answer") << nested(QVariant(u"1"_s), 2) << std::optional<uint>();
    QTest::addRow("empty variant") << QVariant() << std::optional<uint>();
}

void tst_Theme::portalReplyIsUnwrapped()
{
    QFETCH(QVariant, reply);
    QFETCH(std::optional<uint>, expected);
    QCOMPARE(colorSchemeFromPortalReply(reply), expected);
}

void tst_Theme::portalOverPrivateBus_data()
{
    QTest::addColumn<bool>("hang");
    QTest::addRow("answers dark") << false;
    QTest::addRow("never answers") << true;
}

void tst_Theme::portalOverPrivateBus()
{
    if (busAddress.isEmpty())
        QSKIP("dbus-daemon is not installed");
    QFETCH(bool, hang);
    // The portal answers from its own thread while this one waits for the reply.
    QThread serviceThread;
    auto *portal = new FakePortal;
    portal->hang = hang;
    portal->moveToThread(&serviceThread);
    connect(&serviceThread, &QThread::finished, portal, &QObject::deleteLater);
    serviceThread.start();
    const QString tag = QString::fromLatin1(QTest::currentDataTag());
    {
        QDBusConnection service = QDBusConnection::connectToBus(busAddress, u"portal "_s + tag);
        QVERIFY(service.registerObject(u"/org/freedesktop/portal/desktop"_s, portal,
                                       QDBusConnection::ExportAllSlots));
        QVERIFY(service.registerService(u"org.freedesktop.portal.Desktop"_s));
        QElapsedTimer clock;
        clock.start();
        const auto scheme =
            readPortalColorScheme(QDBusConnection::connectToBus(busAddress, u"client "_s + tag), 400);
        QCOMPARE(scheme, hang ? std::optional<uint>() : std::optional<uint>(1));
        QVERIFY2(clock.elapsed() < 2000, qPrintable(u"took %1 ms"_s.arg(clock.elapsed())));
        service.unregisterService(u"org.freedesktop.portal.Desktop"_s);
    }
    QDBusConnection::disconnectFromBus(u"client "_s + tag);
    QDBusConnection::disconnectFromBus(u"portal "_s + tag);
    serviceThread.quit();
    QVERIFY(serviceThread.wait(5000));
}

void tst_Theme::withoutBusesAnswersFast()
{
    QElapsedTimer clock;
    clock.start();
    const bool dark = systemPrefersDark();
    QVERIFY2(clock.elapsed() < 1000, qPrintable(u"took %1 ms"_s.arg(clock.elapsed())));
    QCOMPARE(dark, QGuiApplication::palette().color(QPalette::Window).lightness() < 128);
    // The bundled font registers; a failed registration falls back to Tahoma.
    QCOMPARE(loadInterfaceFont(), u"Lato"_s);
    QCOMPARE(interfaceFontFamily(-1, {}), u"Tahoma"_s);
}

void tst_Theme::styleSheets_data()
{
    QTest::addColumn<bool>("dark");
    QTest::addRow("light") << false;
    QTest::addRow("dark") << true;
}

// The sheet applies without a warning, and each role value selects a look of its own: a
// misspelt selector, or a rule that loses to a stronger one, would leave the widget looking
// like its plain sibling.
void tst_Theme::styleSheets()
{
    QFETCH(bool, dark);
    auto *app = qobject_cast<QApplication *>(QCoreApplication::instance());
    capturedWarnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureWarnings);
    applyStyleSheet(*app, dark);
    QWidget window;
    auto *layout = new QVBoxLayout(&window);
    const auto add = [&](QWidget *widget, const char *property, const char *role) {
        widget->setFixedSize(120, 30);
        widget->setProperty(property, QString::fromLatin1(role));
        layout->addWidget(widget);
        return widget;
    };
    QList<QList<QWidget *>> kinds(3);
    for (const char *role : {"", "start", "stop", "stopping", "link"})
        kinds[0] << add(new QPushButton(u" "_s), "buttonRole", role);
    for (const char *role : {"", "success", "error"}) {
        auto *bar = new QProgressBar;
        bar->setTextVisible(false);
        bar->setValue(100);
        kinds[1] << add(bar, "barRole", role);
    }
    for (const char *role : {"", "secondary", "success", "error"})
        kinds[2] << add(new QLabel(u"MMMMMMMM"_s), "textRole", role);
    for (const char *role : {"supported", "unsupported"})
        kinds[2] << add(new QLabel(u"MMMMMMMM"_s), "badgeRole", role);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    for (const QList<QWidget *> &kind : std::as_const(kinds)) {
        QList<QImage> looks;
        for (QWidget *widget : kind)
            looks << widget->grab().toImage();
        for (int i = 0; i < looks.size(); ++i)
            for (int j = i + 1; j < looks.size(); ++j)
                QVERIFY2(looks.at(i) != looks.at(j),
                         qPrintable(QString::fromLatin1(kind.at(i)->metaObject()->className()) +
                                    u" roles %1 and %2 look alike"_s.arg(i).arg(j)));
    }
    qInstallMessageHandler(previous);
    QVERIFY2(capturedWarnings.isEmpty(), qPrintable(capturedWarnings.join(u'\n')));
    QCOMPARE(app->styleSheet(), readStyleSheet(dark).value_or(QString()));
    QVERIFY(app->styleSheet().size() > 1000);
    app->setStyleSheet(QString());
}

QTEST_MAIN(tst_Theme)
#include "tst_theme.moc"

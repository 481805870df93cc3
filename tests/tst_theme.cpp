#include "app/desktopportal.h"
#include "app/theme.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QSettings>
#include <QSpinBox>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>
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
    QVariant answer;
    bool hang = false;

public Q_SLOTS:
    QDBusVariant Read(const QString &nameSpace, const QString &key)
    {
        if (hang) {
            // Never answers, like a portal that is stuck.
            setDelayedReply(true);
            return {};
        }
        if (nameSpace != "org.freedesktop.appearance"_L1 || key != "color-scheme"_L1) {
            sendErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"Requested setting not found"_s);
            return {};
        }
        // The portal wraps the value in a second variant.
        return QDBusVariant(QVariant::fromValue(QDBusVariant(answer)));
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
    void registryValueRule_data();
    void registryValueRule();
    void colorSchemeRule_data();
    void colorSchemeRule();
    void portalReplyIsUnwrapped_data();
    void portalReplyIsUnwrapped();
    void portalOverPrivateBus_data();
    void portalOverPrivateBus();
    void noSessionBusAnswersFastFromPalette();

    void styleSheets_data();
    void styleSheets();

    void fontFamilyRule_data();
    void fontFamilyRule();
    void bundledFontLoads();

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
    const QString config = scratch.filePath(u"bus.conf"_s);
    QFile file(config);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        QStringLiteral("<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
                       "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">"
                       "<busconfig><type>session</type><listen>unix:dir=%1</listen>"
                       "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                       "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>")
            .arg(scratch.path())
            .toUtf8());
    file.close();
    busDaemon.start(daemon, {u"--config-file=%1"_s.arg(config), u"--nofork"_s, u"--print-address"_s});
    QVERIFY(busDaemon.waitForStarted(5000));
    QElapsedTimer clock;
    clock.start();
    while (!busDaemon.canReadLine() && clock.elapsed() < 5000)
        busDaemon.waitForReadyRead(100);
    busAddress = QString::fromUtf8(busDaemon.readLine()).trimmed();
    QVERIFY2(!busAddress.isEmpty(), "dbus-daemon printed no address");
}

void tst_Theme::cleanupTestCase()
{
    if (busDaemon.state() != QProcess::NotRunning) {
        busDaemon.terminate();
        if (!busDaemon.waitForFinished(3000)) {
            busDaemon.kill();
            busDaemon.waitForFinished(3000);
        }
    }
    QCOMPARE(busDaemon.state(), QProcess::NotRunning);
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
    settings.clear();
    if (stored.isValid())
        settings.setValue(u"global/theme"_s, stored);
    settings.sync();
    // Read it back through a fresh store, as the program does at start-up.
    const QSettings reread(settings.fileName(), QSettings::IniFormat);
    int asked = 0;
    const bool dark = isDarkTheme(reread, [&] {
        ++asked;
        return systemDark;
    });
    QCOMPARE(dark, expectedDark);
    QCOMPARE(asked, systemAsked ? 1 : 0);
}

void tst_Theme::registryValueRule_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("dark");
    QTest::addRow("missing value means light") << QVariant() << false;
    QTest::addRow("0 means dark") << QVariant(0) << true;
    QTest::addRow("1 means light") << QVariant(1) << false;
}

void tst_Theme::registryValueRule()
{
    QFETCH(QVariant, value);
    QFETCH(bool, dark);
    QCOMPARE(appsUseLightThemePrefersDark(value), dark);
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
    QTest::addColumn<bool>("registered");
    QTest::addColumn<bool>("hang");
    QTest::addColumn<QVariant>("answer");
    QTest::addColumn<std::optional<uint>>("expected");
    QTest::addRow("dark") << true << false << QVariant(1u) << std::optional<uint>(1);
    QTest::addRow("no portal on the bus") << false << false << QVariant() << std::optional<uint>();
    QTest::addRow("portal never answers") << true << true << QVariant() << std::optional<uint>();
}

void tst_Theme::portalOverPrivateBus()
{
    if (busAddress.isEmpty())
        QSKIP("dbus-daemon is not installed");
    QFETCH(bool, registered);
    QFETCH(bool, hang);
    QFETCH(QVariant, answer);
    QFETCH(std::optional<uint>, expected);

    // The portal answers from its own thread while this one waits for the reply.
    QThread serviceThread;
    auto *portal = new FakePortal;
    portal->answer = answer;
    portal->hang = hang;
    portal->moveToThread(&serviceThread);
    connect(&serviceThread, &QThread::finished, portal, &QObject::deleteLater);
    serviceThread.start();

    const QString serviceName = u"portal-%1"_s.arg(QString::fromLatin1(QTest::currentDataTag()));
    const QString clientName = u"client-%1"_s.arg(QString::fromLatin1(QTest::currentDataTag()));
    {
        QDBusConnection service = QDBusConnection::connectToBus(busAddress, serviceName);
        QVERIFY(service.isConnected());
        if (registered) {
            QVERIFY(service.registerObject(u"/org/freedesktop/portal/desktop"_s, portal,
                                           QDBusConnection::ExportAllSlots));
            QVERIFY(service.registerService(u"org.freedesktop.portal.Desktop"_s));
        }
        const QDBusConnection client = QDBusConnection::connectToBus(busAddress, clientName);
        QVERIFY(client.isConnected());

        QElapsedTimer clock;
        clock.start();
        const std::optional<uint> scheme = readPortalColorScheme(client, 400);
        const qint64 elapsed = clock.elapsed();
        QCOMPARE(scheme, expected);
        QVERIFY2(elapsed < 2000, qPrintable(u"took %1 ms"_s.arg(elapsed)));

        if (registered) {
            service.unregisterService(u"org.freedesktop.portal.Desktop"_s);
            service.unregisterObject(u"/org/freedesktop/portal/desktop"_s);
        }
    }
    QDBusConnection::disconnectFromBus(clientName);
    QDBusConnection::disconnectFromBus(serviceName);
    serviceThread.quit();
    QVERIFY(serviceThread.wait(5000));
}

void tst_Theme::noSessionBusAnswersFastFromPalette()
{
    QElapsedTimer clock;
    clock.start();
    const bool dark = systemPrefersDark();
    QVERIFY2(clock.elapsed() < 1000, qPrintable(u"took %1 ms"_s.arg(clock.elapsed())));
    QCOMPARE(dark, QGuiApplication::palette().color(QPalette::Window).lightness() < 128);
}

void tst_Theme::styleSheets_data()
{
    QTest::addColumn<bool>("dark");
    QTest::addRow("light") << false;
    QTest::addRow("dark") << true;
}

// The sheet applies without a warning while one of every kind of widget the program shows is
// drawn, and each role value selects a look of its own: a misspelt selector or a rule that
// loses to a stronger selector would leave the widget looking like its plain sibling.
void tst_Theme::styleSheets()
{
    QFETCH(bool, dark);
    auto *app = qobject_cast<QApplication *>(QCoreApplication::instance());
    QVERIFY(app);
    const std::optional<QString> sheet = readStyleSheet(dark);
    QVERIFY(sheet.has_value());
    QVERIFY(sheet->size() > 1000);

    capturedWarnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureWarnings);
    applyStyleSheet(*app, dark);
    QMainWindow window;
    window.menuBar()->addMenu(u"&File"_s)->addAction(u"Open"_s);
    window.statusBar()->showMessage(u"Ready"_s);
    auto *central = new QWidget;
    auto *layout = new QVBoxLayout(central);
    auto *group = new QGroupBox(u"Group"_s);
    auto *groupLayout = new QVBoxLayout(group);
    groupLayout->addWidget(new QRadioButton(u"Radio"_s));
    auto *check = new QCheckBox(u"Check"_s);
    check->setChecked(true);
    groupLayout->addWidget(check);
    groupLayout->addWidget(new QLineEdit(u"Text"_s));
    auto *combo = new QComboBox;
    combo->addItems({u"One"_s, u"Two"_s});
    groupLayout->addWidget(combo);
    groupLayout->addWidget(new QSpinBox);
    layout->addWidget(group);
    auto *tabs = new QTabWidget;
    auto *table = new QTableWidget(30, 3);
    table->setAlternatingRowColors(true);
    table->setSortingEnabled(true);
    tabs->addTab(table, u"Files"_s);
    auto *log = new QPlainTextEdit(QString(u"line\n"_s).repeated(200));
    log->setObjectName(u"logView"_s);
    tabs->addTab(log, u"Log"_s);
    layout->addWidget(tabs);
    auto *overlay = new QWidget(central);
    overlay->setObjectName(u"dropOverlay"_s);
    overlay->setAttribute(Qt::WA_StyledBackground);
    auto *scroll = new QScrollArea;
    scroll->setWidget(new QLabel(u"Scrolled"_s));
    layout->addWidget(scroll);

    // One widget per role value, each after a plain sibling of the same kind.
    auto add = [&](QWidget *widget, const char *property, const char *role) {
        widget->setFixedSize(120, 30);
        if (role)
            widget->setProperty(property, QString::fromLatin1(role));
        layout->addWidget(widget);
        return widget;
    };
    QList<QWidget *> buttons;
    for (const char *role : {static_cast<const char *>(nullptr), "start", "stop", "stopping", "link"})
        buttons << add(new QPushButton(u" "_s), "buttonRole", role);
    QList<QWidget *> bars;
    for (const char *role : {static_cast<const char *>(nullptr), "success", "error"}) {
        auto *bar = new QProgressBar;
        bar->setTextVisible(false);
        bar->setValue(100);
        bars << add(bar, "barRole", role);
    }
    QList<QWidget *> labels{add(new QLabel(u"MMMMMMMM"_s), "textRole", nullptr)};
    for (const char *role : {"secondary", "success", "error"})
        labels << add(new QLabel(u"MMMMMMMM"_s), "textRole", role);
    for (const char *role : {"supported", "unsupported"})
        labels << add(new QLabel(u"MMMMMMMM"_s), "badgeRole", role);
    window.setCentralWidget(central);
    window.resize(500, 1200);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.grab();
    QMenu menu;
    menu.addAction(u"Item"_s);
    menu.addSeparator();
    menu.grab();

    for (const QList<QWidget *> &kind : {buttons, bars, labels}) {
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
    QCOMPARE(app->styleSheet(), *sheet);
    app->setStyleSheet(QString());
}

void tst_Theme::fontFamilyRule_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QStringList>("families");
    QTest::addColumn<QString>("expected");
    QTest::addRow("registration failed") << -1 << QStringList() << u"Tahoma"_s;
    QTest::addRow("first family wins") << 2 << QStringList{u"Lato"_s, u"Lato Regular"_s} << u"Lato"_s;
}

void tst_Theme::fontFamilyRule()
{
    QFETCH(int, id);
    QFETCH(QStringList, families);
    QFETCH(QString, expected);
    QCOMPARE(interfaceFontFamily(id, families), expected);
}

void tst_Theme::bundledFontLoads()
{
    QCOMPARE(loadInterfaceFont(), u"Lato"_s);
}

QTEST_MAIN(tst_Theme)
#include "tst_theme.moc"

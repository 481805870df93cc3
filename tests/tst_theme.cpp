#include "app/desktopportal.h"
#include "app/theme.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QScrollArea>
#include <QSettings>
#include <QSpinBox>
#include <QStandardPaths>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QToolButton>
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

QColor centrePixel(QWidget *widget)
{
    const QImage image = widget->grab().toImage();
    return image.pixelColor(image.width() / 2, image.height() / 2);
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
    void applicationNameSelectsTheStore();
    void registryValueRule_data();
    void registryValueRule();
    void colorSchemeRule_data();
    void colorSchemeRule();
    void portalReplyIsUnwrapped_data();
    void portalReplyIsUnwrapped();
    void portalOverPrivateBus_data();
    void portalOverPrivateBus();
    void noSessionBusAnswersFastFromPalette();

    void styleSheetsApplyWithoutWarnings_data();
    void styleSheetsApplyWithoutWarnings();
    void everyRoleValueHasARule_data();
    void everyRoleValueHasARule();
    void rolesChangeTheLook_data();
    void rolesChangeTheLook();

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
    QTest::addRow("auto follows a light system") << QVariant(u"auto"_s) << false << false << true;
    QTest::addRow("missing value is auto") << QVariant() << true << true << true;
    QTest::addRow("capital Dark is not dark") << QVariant(u"Dark"_s) << false << false << true;
    QTest::addRow("capital LIGHT is not light") << QVariant(u"LIGHT"_s) << true << true << true;
    QTest::addRow("padded dark is not dark") << QVariant(u" dark"_s) << false << false << true;
    QTest::addRow("empty text follows the system") << QVariant(u""_s) << true << true << true;
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

void tst_Theme::applicationNameSelectsTheStore()
{
    // The program's own store lives under organisation "Kavanto" and the application's name;
    // the test home keeps it away from the developer's settings.
    const QString app = u"KVT Theme Test %1"_s.arg(QCoreApplication::applicationPid());
    {
        QSettings store(u"Kavanto"_s, app);
        store.setValue(u"global/theme"_s, u"dark"_s);
    }
    QVERIFY(isDarkTheme(app));
    {
        QSettings store(u"Kavanto"_s, app);
        store.setValue(u"global/theme"_s, u"light"_s);
    }
    QVERIFY(!isDarkTheme(app));
    QSettings(u"Kavanto"_s, app).clear();
}

void tst_Theme::registryValueRule_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("dark");
    QTest::addRow("missing value means light") << QVariant() << false;
    QTest::addRow("0 means dark") << QVariant(0) << true;
    QTest::addRow("1 means light") << QVariant(1) << false;
    QTest::addRow("other numbers mean light") << QVariant(2) << false;
    QTest::addRow("text 0 as stored by a script") << QVariant(u"0"_s) << true;
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
    QTest::addRow("no preference uses a light palette") << std::optional<uint>(0) << light << false;
    QTest::addRow("no portal, light palette") << std::optional<uint>() << light << false;
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
    QTest::addRow("bare number") << QVariant(0u) << std::optional<uint>(0);
    QTest::addRow("signed number") << nested(QVariant(1), 2) << std::optional<uint>(1);
    QTest::addRow("negative number") << nested(QVariant(-1), 2) << std::optional<uint>();
    QTest::addRow("text is no answer") << nested(QVariant(u"1"_s), 2) << std::optional<uint>();
    QTest::addRow("empty variant") << QVariant() << std::optional<uint>();
    QTest::addRow("wrapped empty variant") << nested(QVariant(), 2) << std::optional<uint>();
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
    QTest::addRow("light") << true << false << QVariant(2u) << std::optional<uint>(2);
    QTest::addRow("no preference") << true << false << QVariant(0u) << std::optional<uint>(0);
    QTest::addRow("garbage answer") << true << false << QVariant(u"dark"_s) << std::optional<uint>();
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

void tst_Theme::styleSheetsApplyWithoutWarnings_data()
{
    QTest::addColumn<bool>("dark");
    QTest::addRow("light") << false;
    QTest::addRow("dark") << true;
}

void tst_Theme::styleSheetsApplyWithoutWarnings()
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
    {
        // One of every kind of widget the program shows, so every rule is matched and drawn.
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
        for (const char *role : {"start", "stop", "stopping", "link"}) {
            auto *button = new QPushButton(QString::fromLatin1(role));
            button->setProperty("buttonRole", QString::fromLatin1(role));
            layout->addWidget(button);
        }
        auto *bar = new QProgressBar;
        bar->setProperty("barRole", u"success"_s);
        bar->setValue(50);
        layout->addWidget(bar);
        auto *overlay = new QWidget(central);
        overlay->setObjectName(u"dropOverlay"_s);
        overlay->setAttribute(Qt::WA_StyledBackground);
        auto *scroll = new QScrollArea;
        scroll->setWidget(new QLabel(u"Scrolled"_s));
        layout->addWidget(scroll);
        window.setCentralWidget(central);
        window.resize(500, 700);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.grab();
        QMenu menu;
        menu.addAction(u"Item"_s);
        menu.addSeparator();
        menu.grab();
    }
    qInstallMessageHandler(previous);
    QVERIFY2(capturedWarnings.isEmpty(), qPrintable(capturedWarnings.join(u'\n')));
    QCOMPARE(app->styleSheet(), *sheet);
    app->setStyleSheet(QString());
}

void tst_Theme::everyRoleValueHasARule_data()
{
    QTest::addColumn<bool>("dark");
    QTest::addColumn<QString>("selector");
    const QStringList selectors = {u"QPushButton[buttonRole=\"start\"]"_s,
                                   u"QPushButton[buttonRole=\"stop\"]"_s,
                                   u"QPushButton[buttonRole=\"stopping\"]"_s,
                                   u"QPushButton[buttonRole=\"link\"]"_s,
                                   u"[textRole=\"secondary\"]"_s,
                                   u"[textRole=\"success\"]"_s,
                                   u"[textRole=\"error\"]"_s,
                                   u"QProgressBar[barRole=\"success\"]::chunk"_s,
                                   u"QProgressBar[barRole=\"error\"]::chunk"_s,
                                   u"[badgeRole=\"supported\"]"_s,
                                   u"[badgeRole=\"unsupported\"]"_s};
    for (const bool dark : {false, true})
        for (const QString &selector : selectors)
            QTest::addRow("%s %s", dark ? "dark" : "light", qPrintable(selector)) << dark << selector;
}

void tst_Theme::everyRoleValueHasARule()
{
    QFETCH(bool, dark);
    QFETCH(QString, selector);
    const QString sheet = readStyleSheet(dark).value_or(QString());
    // The plain selector, without a state such as :hover, must head a rule or a selector list.
    const QRegularExpression rule(QRegularExpression::escape(selector) + u"\\s*[,{]"_s);
    QVERIFY2(rule.match(sheet).hasMatch(), qPrintable(selector));
}

void tst_Theme::rolesChangeTheLook_data()
{
    QTest::addColumn<bool>("dark");
    QTest::addRow("light") << false;
    QTest::addRow("dark") << true;
}

// Each role value must actually select a different look: a misspelt selector or a rule that
// loses to a more specific one would leave the widget looking like its plain sibling.
void tst_Theme::rolesChangeTheLook()
{
    QFETCH(bool, dark);
    auto *app = qobject_cast<QApplication *>(QCoreApplication::instance());
    applyStyleSheet(*app, dark);

    QWidget page;
    auto *layout = new QVBoxLayout(&page);
    auto addButton = [&](const QString &role) {
        auto *button = new QPushButton(u" "_s);
        button->setFixedSize(120, 40);
        if (!role.isEmpty())
            button->setProperty("buttonRole", role);
        layout->addWidget(button);
        return button;
    };
    QPushButton *plain = addButton(QString());
    QPushButton *start = addButton(u"start"_s);
    QPushButton *stop = addButton(u"stop"_s);
    QPushButton *stopping = addButton(u"stopping"_s);
    auto addBar = [&](const QString &role) {
        auto *bar = new QProgressBar;
        bar->setTextVisible(false);
        bar->setValue(100);
        bar->setFixedSize(120, 20);
        if (!role.isEmpty())
            bar->setProperty("barRole", role);
        layout->addWidget(bar);
        return bar;
    };
    QProgressBar *plainBar = addBar(QString());
    QProgressBar *successBar = addBar(u"success"_s);
    QProgressBar *errorBar = addBar(u"error"_s);
    auto addLabel = [&](const char *property, const QString &role) {
        auto *label = new QLabel(u"MMMMMMMM"_s);
        if (!role.isEmpty())
            label->setProperty(property, role);
        layout->addWidget(label);
        return label;
    };
    QLabel *plainLabel = addLabel("textRole", QString());
    QLabel *secondary = addLabel("textRole", u"secondary"_s);
    QLabel *success = addLabel("textRole", u"success"_s);
    QLabel *error = addLabel("textRole", u"error"_s);
    QLabel *supported = addLabel("badgeRole", u"supported"_s);
    QLabel *unsupported = addLabel("badgeRole", u"unsupported"_s);
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));

    const QList<QColor> buttonFaces = {centrePixel(plain), centrePixel(start), centrePixel(stop),
                                       centrePixel(stopping)};
    for (int i = 0; i < buttonFaces.size(); ++i)
        for (int j = i + 1; j < buttonFaces.size(); ++j)
            QVERIFY2(buttonFaces.at(i) != buttonFaces.at(j),
                     qPrintable(u"buttons %1 and %2"_s.arg(i).arg(j)));
    QVERIFY(centrePixel(plainBar) != centrePixel(successBar));
    QVERIFY(centrePixel(successBar) != centrePixel(errorBar));
    QVERIFY(centrePixel(plainBar) != centrePixel(errorBar));

    const QImage plainText = plainLabel->grab().toImage();
    for (QLabel *label : {secondary, success, error, supported, unsupported})
        QVERIFY2(label->grab().toImage() != plainText, qPrintable(label->property("textRole").toString() +
                                                                  label->property("badgeRole").toString()));
    QVERIFY(success->grab().toImage() != error->grab().toImage());
    QVERIFY(supported->grab().toImage() != unsupported->grab().toImage());

    // A role set after the widget was shown takes effect once the widget is re-polished.
    const QColor before = centrePixel(start);
    start->setProperty("buttonRole", u"stop"_s);
    start->style()->unpolish(start);
    start->style()->polish(start);
    QCOMPARE(centrePixel(start), buttonFaces.at(2));
    QVERIFY(before != buttonFaces.at(2));
    app->setStyleSheet(QString());
}

void tst_Theme::fontFamilyRule_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QStringList>("families");
    QTest::addColumn<QString>("expected");
    QTest::addRow("registration failed") << -1 << QStringList() << u"Tahoma"_s;
    QTest::addRow("font without a family") << 0 << QStringList() << u"Tahoma"_s;
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

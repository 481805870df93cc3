#include "app/theme.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

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

} // namespace

class tst_Theme : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void colorSchemeRule_data();
    void colorSchemeRule();
    void registryRule();
    void withoutSessionBusAnswersFast();
    void styleSheets_data();
    void styleSheets();
};

void tst_Theme::colorSchemeRule_data()
{
    QTest::addColumn<std::optional<uint>>("scheme");
    QTest::addColumn<QColor>("window");
    QTest::addColumn<bool>("dark");
    const QColor light(Qt::white);
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

// Windows: dark exactly when AppsUseLightTheme is 0; a missing value is light.
void tst_Theme::registryRule()
{
    QCOMPARE(appsUseLightThemePrefersDark(QVariant()), false);
    QCOMPARE(appsUseLightThemePrefersDark(0), true);
    QCOMPARE(appsUseLightThemePrefersDark(1), false);
}

void tst_Theme::withoutSessionBusAnswersFast()
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/kvt-test-no-bus");
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

// The sheet applies without a warning, and each role value gives its widget a look of its own: a
// misspelt selector, or a rule that loses to a stronger one, would leave it like its plain sibling.
void tst_Theme::styleSheets()
{
    QFETCH(bool, dark);
    capturedWarnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureWarnings);
    applyStyleSheet(*qApp, dark);
    QWidget window;
    QList<QList<QWidget *>> kinds(3);
    const auto add = [&](int kind, QWidget *widget, const char *property, const char *role) {
        widget->setFixedSize(120, 30);
        widget->setProperty(property, QString::fromLatin1(role));
        if (auto *bar = qobject_cast<QProgressBar *>(widget))
            bar->setValue(100);
        widget->setParent(&window);
        kinds[kind] << widget;
    };
    for (const char *role : {"", "start", "stop", "stopping", "link"})
        add(0, new QPushButton(u" "_s), "buttonRole", role);
    for (const char *role : {"", "success", "error"})
        add(1, new QProgressBar, "barRole", role);
    for (const char *role : {"", "secondary", "success", "error"})
        add(2, new QLabel(u"MMMMMMMM"_s), "textRole", role);
    for (const char *role : {"supported", "unsupported"})
        add(2, new QLabel(u"MMMMMMMM"_s), "badgeRole", role);
    for (const QList<QWidget *> &kind : std::as_const(kinds))
        for (int i = 0; i < kind.size(); ++i)
            for (int j = i + 1; j < kind.size(); ++j)
                QVERIFY2(kind.at(i)->grab().toImage() != kind.at(j)->grab().toImage(),
                         qPrintable(u"roles %1 and %2 of one kind look alike"_s.arg(i).arg(j)));
    qInstallMessageHandler(previous);
    QVERIFY2(capturedWarnings.isEmpty(), qPrintable(capturedWarnings.join(u'\n')));
    QCOMPARE(qApp->styleSheet(), readStyleSheet(dark).value_or(QString()));
    qApp->setStyleSheet(QString());
}

QTEST_MAIN(tst_Theme)
#include "tst_theme.moc"

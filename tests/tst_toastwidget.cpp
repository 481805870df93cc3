#include "progress/toastwidget.h"

#include <QFontMetrics>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_ToastWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void widthRule_data();
    void widthRule();
    void placedAtTheBottomCentre_data();
    void placedAtTheBottomCentre();
    void fadesInAndOut();
    void newMessageSurvivesFadeOut();
};

void tst_ToastWidget::widthRule_data()
{
    QTest::addColumn<int>("advance");
    QTest::addColumn<int>("parentWidth");
    QTest::addColumn<int>("width");
    QTest::addRow("short text") << 100 << 1000 << 164;
    QTest::addRow("cut to 80 percent") << 2000 << 1000 << 800;
    QTest::addRow("80 percent rounds down") << 1000 << 379 << 303;
    QTest::addRow("never below 300") << 2000 << 200 << 300;
    QTest::addRow("300 beats 80 percent") << 1000 << 375 << 300;
    QTest::addRow("short in narrow parent") << 100 << 200 << 164;
}

void tst_ToastWidget::widthRule()
{
    QFETCH(int, advance);
    QFETCH(int, parentWidth);
    QFETCH(int, width);
    QCOMPARE(ToastWidget::toastWidth(advance, parentWidth), width);
}

void tst_ToastWidget::placedAtTheBottomCentre_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("parentWidth");
    QTest::addRow("short") << u"Log cleared"_s << 800;
    QTest::addRow("long") << QString(200, u'W') << 600;
}

void tst_ToastWidget::placedAtTheBottomCentre()
{
    QFETCH(QString, text);
    QFETCH(int, parentWidth);
    QWidget window;
    window.resize(parentWidth, 500);
    auto *toast = new ToastWidget(&window);
    window.show();
    QVERIFY(toast->isHidden());
    QCOMPARE(toast->height(), 36);
    toast->showMessage(text, 1000);
    QVERIFY(toast->isVisible());
    QCOMPARE(toast->text(), text);
    const int advance = toast->fontMetrics().horizontalAdvance(text);
    const int expected = std::min(advance + 64, std::max(300, parentWidth * 8 / 10));
    QCOMPARE(toast->width(), expected);
    QVERIFY(toast->width() <= parentWidth * 8 / 10);
    QCOMPARE(toast->x(), (parentWidth - expected) / 2);
    QCOMPARE(toast->y(), 500 - 36 - 50);
}

void tst_ToastWidget::fadesInAndOut()
{
    QWidget window;
    window.resize(600, 400);
    auto *toast = new ToastWidget(&window);
    window.show();
    QCOMPARE(toast->opacity(), 0.0);
    toast->showMessage(u"Done"_s, 300);
    QCOMPARE(toast->opacity(), 0.0);
    QTRY_COMPARE_WITH_TIMEOUT(toast->opacity(), 1.0, 1000);
    QVERIFY(toast->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(toast->isHidden(), 2000);
    QCOMPARE(toast->opacity(), 0.0);
}

void tst_ToastWidget::newMessageSurvivesFadeOut()
{
    QWidget window;
    window.resize(600, 400);
    auto *toast = new ToastWidget(&window);
    window.show();
    toast->showMessage(u"first"_s, 50);
    // Wait until the first message is fading out.
    QTRY_VERIFY_WITH_TIMEOUT(toast->opacity() > 0.0 && toast->opacity() < 1.0, 1000);
    QTest::qWait(300);
    toast->showMessage(u"second"_s, 2000);
    QTest::qWait(700);
    QVERIFY(toast->isVisible());
    QCOMPARE(toast->text(), u"second"_s);
    QCOMPARE(toast->opacity(), 1.0);
}

QTEST_MAIN(tst_ToastWidget)
#include "tst_toastwidget.moc"

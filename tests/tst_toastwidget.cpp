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
    void fadesInAndOut();
};

void tst_ToastWidget::widthRule_data()
{
    QTest::addColumn<int>("advance");
    QTest::addColumn<int>("parentWidth");
    QTest::addColumn<int>("width");
    QTest::addRow("cut to 80 percent, rounded down") << 1000 << 379 << 303;
    QTest::addRow("never below 300") << 2000 << 200 << 300;
}

void tst_ToastWidget::widthRule()
{
    QFETCH(int, advance);
    QFETCH(int, parentWidth);
    QFETCH(int, width);
    QCOMPARE(ToastWidget::toastWidth(advance, parentWidth), width);
}

void tst_ToastWidget::fadesInAndOut()
{
    QWidget window;
    window.resize(600, 400);
    auto *toast = new ToastWidget(&window);
    window.show();
    toast->showMessage(u"first"_s, 300);
    QCOMPARE(toast->opacity(), 0.0);
    QCOMPARE(toast->width(),
             ToastWidget::toastWidth(toast->fontMetrics().horizontalAdvance(u"first"_s), 600));
    QTRY_COMPARE_WITH_TIMEOUT(toast->opacity(), 1.0, 1000);
    // A new message arriving during the fade-out survives it.
    QTRY_VERIFY_WITH_TIMEOUT(toast->opacity() > 0.0 && toast->opacity() < 1.0, 1000);
    QTest::qWait(300);
    toast->showMessage(u"second"_s, 2000);
    QTest::qWait(700);
    QVERIFY(toast->isVisible());
    QCOMPARE(toast->text(), u"second"_s);
    QCOMPARE(toast->opacity(), 1.0);
    QTRY_VERIFY_WITH_TIMEOUT(toast->isHidden(), 4000);
    QCOMPARE(toast->opacity(), 0.0);
}

QTEST_MAIN(tst_ToastWidget)
#include "tst_toastwidget.moc"

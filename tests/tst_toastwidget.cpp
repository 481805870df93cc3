#include "progress/toastwidget.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ToastWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fadesInAndOut();
};

void tst_ToastWidget::fadesInAndOut()
{
    QWidget window;
    window.resize(600, 400);
    auto *toast = new ToastWidget(&window);
    window.show();
    toast->showMessage(u"first"_s, 300);
    QCOMPARE(toast->opacity(), 0.0);
    QTRY_COMPARE_WITH_TIMEOUT(toast->opacity(), 1.0, 1000);
    // A new message arriving during the fade-out survives it, and a long one stays inside the
    // window.
    QTRY_VERIFY_WITH_TIMEOUT(toast->opacity() > 0.0 && toast->opacity() < 1.0, 1000);
    QTest::qWait(300);
    const QString second = u"second "_s.repeated(100);
    toast->showMessage(second, 2000);
    QTest::qWait(700);
    QVERIFY(toast->isVisible());
    QCOMPARE(toast->text(), second);
    QCOMPARE(toast->opacity(), 1.0);
    QVERIFY2(toast->width() < window.width(), qPrintable(QString::number(toast->width())));
    QTRY_VERIFY_WITH_TIMEOUT(toast->isHidden(), 4000);
    QCOMPARE(toast->opacity(), 0.0);
}

QTEST_MAIN(tst_ToastWidget)
#include "tst_toastwidget.moc"

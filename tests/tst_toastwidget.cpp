#include "progress/toastwidget.h"

#include <QTest>

class tst_ToastWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fadesInAndOut();
};

void tst_ToastWidget::fadesInAndOut()
{
    QWidget window;
    auto *toast = new ToastWidget(&window);
    window.show();
    toast->showMessage(QStringLiteral("first"), 300);
    QCOMPARE(toast->opacity(), 0.0);
    QTRY_COMPARE_WITH_TIMEOUT(toast->opacity(), 1.0, 1000);
    // A message arriving during the fade-out survives it, and a long one stays inside the window.
    QTRY_VERIFY_WITH_TIMEOUT(toast->opacity() > 0.0 && toast->opacity() < 1.0, 1000);
    toast->showMessage(QStringLiteral("second ").repeated(100), 2000);
    QTest::qWait(700);
    QVERIFY(toast->opacity() == 1.0 && toast->isVisible() && toast->width() < window.width());
    QTRY_VERIFY_WITH_TIMEOUT(toast->isHidden() && toast->opacity() == 0.0, 4000);
}

QTEST_MAIN(tst_ToastWidget)
#include "tst_toastwidget.moc"

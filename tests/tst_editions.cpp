// Every edition started as the program starts it (Startup::run, splash and all), each showing
// the record of its own converter. Each start makes and ends its own application object, so
// this test runs without one of its own.

#include "app/mainwindow.h"
#include "app/startup.h"
#include "common/sharppixmap.h"
#include "conversion/converterinfo.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// The names of `window`'s children of type T whose object names start with `prefix`, without it.
template <typename T> QStringList childNames(const QWidget *window, const QString &prefix)
{
    QStringList names;
    for (const T *child : window->findChildren<T *>()) {
        if (child->objectName().startsWith(prefix))
            names.append(child->objectName().mid(prefix.size()));
    }
    names.sort();
    return names;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

} // namespace

class tst_Editions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void startsWithItsRecord_data();
    void startsWithItsRecord();
    void desktopEntryNamesTheBuiltEdition();
};

void tst_Editions::initTestCase()
{
    // Nothing listens there: the banner fetch fails at once and nothing leaves the machine.
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");
    QCOMPARE(Startup::builtEdition(), QStringLiteral(KVT_EDITION));
}

void tst_Editions::startsWithItsRecord_data()
{
    QTest::addColumn<QString>("edition"); // empty: the one this build was made for
    QTest::addColumn<QString>("expectedId");
    QTest::addRow("built") << QString() << QStringLiteral(KVT_EDITION);
    for (const QString &id : {u"revit"_s, u"ifc"_s, u"dwg"_s, u"dgn"_s, u"rvt2ifc"_s})
        QTest::addRow("%s", qPrintable(id)) << id << id;
}

void tst_Editions::startsWithItsRecord()
{
    QFETCH(QString, edition);
    QFETCH(QString, expectedId);
    const ConverterInfo info = makeConverterInfo(expectedId, true);
    QVERIFY(!info.id.isEmpty());

    // What the started window shows, read while it is up.
    QStringList shown;
    bool sameTitlePicture = false;
    Startup::Options options;
    options.minimumSplashMs = 0;
    options.edition = edition;
    options.windowShown = [&](MainWindow *window) {
        shown << window->windowTitle() << QCoreApplication::applicationName()
              << childNames<QRadioButton>(window, u"modeRadio_"_s).join(u',')
              << childNames<QWidget>(window, u"format_"_s).join(u',');
        const auto *title = window->findChild<QLabel *>(u"headerTitle"_s);
        sameTitlePicture = title && title->pixmap().toImage() ==
                                        sharpPixmap(info.titleImage, window->devicePixelRatioF()).toImage();
        QTimer::singleShot(0, window, &QWidget::close);
    };
    int argc = 1;
    char name[] = "tst_editions";
    char *argv[] = {name, nullptr};
    QCOMPARE(Startup::run(argc, argv, options), 0);

    QCOMPARE(shown, (QStringList{info.displayName, info.displayName, sorted(info.modes).join(u','),
                                 QStringList(info.formats.keys()).join(u',')}));
    QVERIFY(sameTitlePicture);
}

void tst_Editions::desktopEntryNamesTheBuiltEdition()
{
    QFile entry(QStringLiteral(KVT_DESKTOP_ENTRY));
    QVERIFY2(entry.open(QIODevice::ReadOnly), qPrintable(entry.fileName()));
    const QString text = QString::fromUtf8(entry.readAll());
    QVERIFY2(text.contains(u"\nName="_s + makeConverterInfo(QStringLiteral(KVT_EDITION), true).displayName +
                           u'\n'),
             qPrintable(text));
}

QTEST_APPLESS_MAIN(tst_Editions)
#include "tst_editions.moc"

#include "common/formatting.h"

#include <QLocale>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_FormatSize : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLocale::setDefault(QLocale::c()); }
    void sizes_data();
    void sizes();
};

void tst_FormatSize::sizes_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::addRow("zero") << qint64(0) << u"0 B"_s;
    QTest::addRow("1023 stays bytes") << qint64(1023) << u"1023 B"_s;
    QTest::addRow("1024 is 1.0 KB") << qint64(1024) << u"1.0 KB"_s;
    QTest::addRow("1536 is 1.5 KB") << qint64(1536) << u"1.5 KB"_s;
    QTest::addRow("just below 1 MB rounds to 1024.0 KB") << qint64(1048575) << u"1024.0 KB"_s;
    QTest::addRow("1 MB") << qint64(1048576) << u"1.0 MB"_s;
    QTest::addRow("250.3 MB") << qint64(262459802) << u"250.3 MB"_s;
    QTest::addRow("just below 1 GB") << qint64(1073741823) << u"1024.0 MB"_s;
    QTest::addRow("1 GB") << qint64(1073741824) << u"1.0 GB"_s;
    QTest::addRow("5 TB stays in GB") << qint64(5) * 1024 * 1024 * 1024 * 1024 << u"5120.0 GB"_s;
    QTest::addRow("negative stays bytes") << qint64(-1) << u"-1 B"_s;
}

void tst_FormatSize::sizes()
{
    QFETCH(qint64, bytes);
    QFETCH(QString, text);
    QCOMPARE(formatSize(bytes), text);
    // The text is the same whatever the user's locale: a point, no group separators.
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    QCOMPARE(formatSize(bytes), text);
}

QTEST_GUILESS_MAIN(tst_FormatSize)
#include "tst_formatsize.moc"

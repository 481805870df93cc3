#include "common/formatting.h"

#include <QLocale>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_FormatSize : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
};

void tst_FormatSize::texts_data()
{
    QTest::addColumn<char>("kind"); // s: formatSize, d: formatDuration, c: formatClock
    QTest::addColumn<qint64>("value");
    QTest::addColumn<QString>("text");
    QTest::addRow("1023 stays bytes") << 's' << qint64(1023) << u"1023 B"_s;
    QTest::addRow("1024 is 1.0 KB") << 's' << qint64(1024) << u"1.0 KB"_s;
    QTest::addRow("just below 1 MB rounds to 1024.0 KB") << 's' << qint64(1048575) << u"1024.0 KB"_s;
    QTest::addRow("1 MB") << 's' << qint64(1048576) << u"1.0 MB"_s;
    QTest::addRow("250.3 MB") << 's' << qint64(262459802) << u"250.3 MB"_s;
    QTest::addRow("1 GB") << 's' << qint64(1073741824) << u"1.0 GB"_s;
    QTest::addRow("5 TB stays in GB") << 's' << qint64(5) * 1024 * 1024 * 1024 * 1024 << u"5120.0 GB"_s;
    QTest::addRow("negative stays bytes") << 's' << qint64(-1) << u"-1 B"_s;
    QTest::addRow("999 ms") << 'd' << qint64(999) << u"999 ms"_s;
    QTest::addRow("1000 ms") << 'd' << qint64(1000) << u"1.0 s"_s;
    QTest::addRow("60000 ms") << 'd' << qint64(60000) << u"1.0 min"_s;
    QTest::addRow("clock 65.999 s") << 'c' << qint64(65999) << u"01:05"_s;
    QTest::addRow("clock just below an hour") << 'c' << qint64(3599999) << u"59:59"_s;
    QTest::addRow("clock 3725 s") << 'c' << qint64(3725000) << u"1:02:05"_s;
}

// The same text whatever the user's locale: a point, no group separators.
void tst_FormatSize::texts()
{
    QFETCH(char, kind);
    QFETCH(qint64, value);
    QFETCH(QString, text);
    const auto format = kind == 's' ? formatSize : kind == 'd' ? formatDuration : formatClock;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    QCOMPARE(format(value), text);
}

QTEST_GUILESS_MAIN(tst_FormatSize)
#include "tst_formatsize.moc"

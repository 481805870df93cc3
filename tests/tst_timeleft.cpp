#include "common/formatting.h"
#include "conversion/timeleftestimator.h"

#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

struct RecordedFile
{
    qint64 bytes;
    qint64 ms;
    bool failed = false;
};

// A batch as it ran: each file starts, in queue order, on the slot that frees first.
struct Replay
{
    struct Event
    {
        qint64 at;
        bool start;
        int file;
    };
    QList<Event> events;
    qint64 end = 0;
};

Replay replay(const QList<RecordedFile> &files, int slots)
{
    Replay r;
    QList<qint64> freeAt(slots, 0);
    for (int i = 0; i < files.size(); ++i) {
        const auto slot = std::min_element(freeAt.begin(), freeAt.end());
        r.events.append({*slot, true, i});
        *slot += files.at(i).ms;
        r.events.append({*slot, false, i});
        r.end = std::max(r.end, *slot);
    }
    std::stable_sort(r.events.begin(), r.events.end(), [](const Replay::Event &a, const Replay::Event &b) {
        return a.at < b.at || (a.at == b.at && !a.start && b.start);
    });
    return r;
}

} // namespace

class tst_TimeLeft : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordedRuns_data();
    void recordedRuns();
    void text_data();
    void text();
};

void tst_TimeLeft::recordedRuns_data()
{
    QTest::addColumn<QList<RecordedFile>>("files");
    QTest::addColumn<int>("slots");
    constexpr qint64 mb = 1 << 20;
    // About a second per MB, each file off by up to 15%.
    const QList<RecordedFile> uneven = {
        {40 * mb, 41000},   {300 * mb, 285000}, {12 * mb, 13500},   {150 * mb, 160000}, {80 * mb, 74000},
        {220 * mb, 231000}, {25 * mb, 23000},   {400 * mb, 410000}, {60 * mb, 66000},   {5 * mb, 5300}};
    QTest::addRow("uneven files, one at a time") << uneven << 1;
    QList<RecordedFile> failing = uneven;
    // A missing licence or a broken file fails in a moment whatever the size.
    failing[1] = {300 * mb, 400, true};
    failing[4] = {80 * mb, 300, true};
    QTest::addRow("files that fail fast") << failing << 1;
    QTest::addRow("two at once") << uneven << 2;
    QTest::addRow("three at once, the tail on one") << uneven << 3;
}

// At every second of the batch: nothing shown until a file has converted; then the range
// holds the true time left, and between two finished files it counts down with the clock.
void tst_TimeLeft::recordedRuns()
{
    QFETCH(QList<RecordedFile>, files);
    QFETCH(int, slots);
    const Replay run = replay(files, slots);
    TimeLeftEstimator estimator;
    QList<QPair<QString, qint64>> batch;
    for (int i = 0; i < files.size(); ++i)
        batch.append({QString::number(i), files.at(i).bytes});
    estimator.begin(batch, slots, 0);

    qsizetype next = 0;
    bool converted = false;
    TimeLeft previous;
    int checks = 0;
    for (qint64 now = 0; now < run.end; now += 1000) {
        bool changed = false;
        for (; next < run.events.size() && run.events.at(next).at <= now; ++next) {
            const Replay::Event &e = run.events.at(next);
            const RecordedFile &file = files.at(e.file);
            if (e.start) {
                estimator.fileStarted(QString::number(e.file), file.bytes, e.at);
            } else {
                estimator.fileFinished(QString::number(e.file), file.failed, e.at);
                converted = converted || !file.failed;
                changed = true;
            }
        }
        const TimeLeft left = estimator.estimate(now);
        QCOMPARE(left.known, converted);
        if (!left.known)
            continue;
        const qint64 truth = run.end - now;
        QVERIFY2(left.lowMs <= truth && truth <= left.highMs,
                 qPrintable(u"at %1 s: %2 s left, shown %3–%4 s"_s.arg(now / 1000)
                                .arg(truth / 1000)
                                .arg(left.lowMs / 1000)
                                .arg(left.highMs / 1000)));
        if (previous.known && !changed && previous.highMs >= 1000)
            QCOMPARE(left.highMs, previous.highMs - 1000);
        previous = left;
        ++checks;
    }
    QVERIFY(checks > 100);
}

void tst_TimeLeft::text_data()
{
    QTest::addColumn<qint64>("lowMs");
    QTest::addColumn<qint64>("highMs");
    QTest::addColumn<QString>("text");
    QTest::addRow("under a minute") << qint64(5000) << qint64(59000) << u"less than a minute left"_s;
    // Rounded outwards: the text never claims more certainty than the range.
    QTest::addRow("minutes") << qint64(12 * 60000 + 40000) << qint64(14 * 60000 + 10000)
                             << u"about 12–15 min left"_s;
    QTest::addRow("low end under a minute") << qint64(20000) << qint64(150000) << u"about 1–3 min left"_s;
    QTest::addRow("one value") << qint64(3 * 60000) << qint64(3 * 60000) << u"about 3 min left"_s;
    QTest::addRow("five-minute steps")
        << qint64(41 * 60000) << qint64(52 * 60000) << u"about 40–55 min left"_s;
    QTest::addRow("hours") << qint64(130 * 60000) << qint64(200 * 60000) << u"about 2–4 h left"_s;
}

void tst_TimeLeft::text()
{
    QFETCH(qint64, lowMs);
    QFETCH(qint64, highMs);
    QFETCH(QString, text);
    QCOMPARE(formatTimeLeft(lowMs, highMs), text);
}

QTEST_GUILESS_MAIN(tst_TimeLeft)
#include "tst_timeleft.moc"

#include "conversion/batchjournal.h"

#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

constexpr auto journalName = "journal.jsonl"_L1;

QJsonObject toJson(const ConversionOptions &o)
{
    return {{u"boundingBox"_s, o.boundingBox}, {u"rooms"_s, o.rooms},
            {u"viewMap"_s, o.viewMap},         {u"extendedParents"_s, o.extendedParents},
            {u"schedules"_s, o.schedules},     {u"sheetsToPdf"_s, o.sheetsToPdf},
            {u"skipXlsx"_s, o.skipXlsx},       {u"skipDae"_s, o.skipDae},
            {u"forcePath"_s, o.forcePath},     {u"mode"_s, o.mode},
            {u"categories"_s, o.categories},   {u"config"_s, o.config}};
}

ConversionOptions optionsFromJson(const QJsonObject &j)
{
    ConversionOptions o;
    o.boundingBox = j.value(u"boundingBox"_s).toBool();
    o.rooms = j.value(u"rooms"_s).toBool();
    o.viewMap = j.value(u"viewMap"_s).toBool();
    o.extendedParents = j.value(u"extendedParents"_s).toBool();
    o.schedules = j.value(u"schedules"_s).toBool();
    o.sheetsToPdf = j.value(u"sheetsToPdf"_s).toBool();
    o.skipXlsx = j.value(u"skipXlsx"_s).toBool();
    o.skipDae = j.value(u"skipDae"_s).toBool();
    o.forcePath = j.value(u"forcePath"_s).toBool();
    o.mode = j.value(u"mode"_s).toString();
    o.categories = j.value(u"categories"_s).toString();
    o.config = j.value(u"config"_s).toString();
    return o;
}

QByteArray line(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

QStringList BatchState::remaining() const
{
    QStringList files;
    for (const QString &file : batch.files) {
        if (!finished.contains(file))
            files.append(file);
    }
    return files;
}

QString BatchJournal::defaultRoot()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + u"/batches"_s;
}

bool BatchJournal::begin(const QString &root, const BatchDefinition &batch)
{
    // Named by time first, to the millisecond, so a listing sorts by age even for two
    // batches in one second (a retry); the suffix keeps two starts in one millisecond apart.
    const QString name = QDateTime::currentDateTime().toString(u"yyyyMMdd-HHmmss-zzz"_s) + u'-' +
                         QUuid::createUuid().toString(QUuid::Id128).left(8);
    batchFolder = QDir(root).filePath(name);
    if (!QDir().mkpath(QDir(batchFolder).filePath(u"logs"_s)))
        return false;
    file.setFileName(QDir(batchFolder).filePath(journalName));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return false;
    QJsonArray files;
    for (const QString &path : batch.files)
        files.append(path);
    write(line({{u"batch"_s, 1},
                {u"converter"_s, batch.converterId},
                {u"outputDir"_s, batch.outputDir},
                {u"options"_s, toJson(batch.options)},
                {u"files"_s, files}}));
    return true;
}

void BatchJournal::fileStarted(const QString &path)
{
    write(line({{u"started"_s, path}}));
}

void BatchJournal::fileFinished(const QString &path, int exitCode)
{
    write(line({{u"finished"_s, path}, {u"exitCode"_s, exitCode}}));
}

void BatchJournal::end()
{
    write(line({{u"ended"_s, true}}));
    file.close();
}

void BatchJournal::write(const QByteArray &bytes)
{
    if (!file.isOpen())
        return;
    // One write per line and straight to the system: a kill can only cut the last line.
    file.write(bytes);
    file.flush();
}

std::optional<BatchState> BatchJournal::read(const QString &journalPath)
{
    QFile in(journalPath);
    if (!in.open(QIODevice::ReadOnly))
        return std::nullopt;
    BatchState state;
    state.journalPath = journalPath;
    bool haveBatch = false;
    while (!in.atEnd()) {
        const QJsonObject entry = QJsonDocument::fromJson(in.readLine()).object();
        // A torn or damaged line says nothing; the lines around it still count.
        if (entry.isEmpty())
            continue;
        if (entry.contains(u"batch"_s)) {
            state.batch.converterId = entry.value(u"converter"_s).toString();
            state.batch.outputDir = entry.value(u"outputDir"_s).toString();
            state.batch.options = optionsFromJson(entry.value(u"options"_s).toObject());
            for (const QJsonValue &f : entry.value(u"files"_s).toArray())
                state.batch.files.append(f.toString());
            haveBatch = true;
        } else if (entry.contains(u"finished"_s)) {
            state.finished.insert(entry.value(u"finished"_s).toString(), entry.value(u"exitCode"_s).toInt());
        } else if (entry.contains(u"ended"_s)) {
            state.ended = true;
        }
    }
    if (!haveBatch)
        return std::nullopt;
    return state;
}

std::optional<BatchState> BatchJournal::findInterrupted(const QString &root)
{
    // Folder names start with the start time, so the last by name is the newest. Only that
    // batch is offered (once a newer one ran, an older interruption is history), and only the
    // folder names are listed: start-up never walks the logs of years of batches.
    const QStringList batches =
        QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::Reversed);
    if (batches.isEmpty())
        return std::nullopt;
    std::optional<BatchState> state = read(QDir(root).filePath(batches.constFirst() + u'/' + journalName));
    if (!state || state->ended || state->remaining().isEmpty())
        return std::nullopt;
    return state;
}

void BatchJournal::discard(const QString &journalPath)
{
    QFile out(journalPath);
    if (!out.open(QIODevice::ReadWrite | QIODevice::Append))
        return;
    // After a torn last line, the mark must still stand on a line of its own.
    QByteArray last;
    if (out.size() > 0 && out.seek(out.size() - 1))
        last = out.read(1);
    out.seek(out.size());
    if (!last.isEmpty() && last != "\n")
        out.write("\n");
    out.write(line({{u"ended"_s, true}}));
}

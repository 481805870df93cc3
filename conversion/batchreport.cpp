#include "conversion/batchreport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QSaveFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QStringList header{u"path"_s,    u"size"_s,        u"status"_s,  u"exit_code"_s,
                         u"message"_s, u"duration_ms"_s, u"outputs"_s, u"log_file"_s};

QString quoted(const QString &field)
{
    if (!field.contains(u',') && !field.contains(u'"') && !field.contains(u'\n') && !field.contains(u'\r'))
        return field;
    return u'"' + QString(field).replace(u"\""_s, u"\"\""_s) + u'"';
}

// Splits RFC 4180 text into records of fields.
QList<QStringList> parseCsv(const QString &text)
{
    QList<QStringList> records;
    QStringList fields;
    QString field;
    bool inQuotes = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (inQuotes) {
            if (c == u'"' && i + 1 < text.size() && text.at(i + 1) == u'"') {
                field += u'"';
                ++i;
            } else if (c == u'"') {
                inQuotes = false;
            } else {
                field += c;
            }
        } else if (c == u'"') {
            inQuotes = true;
        } else if (c == u',') {
            fields.append(std::exchange(field, QString()));
        } else if (c == u'\n') {
            fields.append(std::exchange(field, QString()));
            records.append(std::exchange(fields, QStringList()));
        } else if (c != u'\r') {
            field += c;
        }
    }
    if (!field.isEmpty() || !fields.isEmpty()) {
        fields.append(field);
        records.append(fields);
    }
    return records;
}

bool save(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

} // namespace

QByteArray BatchReport::toCsv(const QList<BatchReportRow> &rows)
{
    QString text = header.join(u',') + u"\r\n"_s;
    for (const BatchReportRow &row : rows) {
        const QStringList fields{row.path,
                                 QString::number(row.size),
                                 row.status,
                                 QString::number(row.exitCode),
                                 row.message,
                                 QString::number(row.durationMs),
                                 row.outputs.join(u';'),
                                 row.logFile};
        QStringList out;
        for (const QString &field : fields)
            out.append(quoted(field));
        text += out.join(u',') + u"\r\n"_s;
    }
    return text.toUtf8();
}

QList<BatchReportRow> BatchReport::fromCsv(const QByteArray &csv)
{
    QList<BatchReportRow> rows;
    const QList<QStringList> records = parseCsv(QString::fromUtf8(csv));
    for (qsizetype i = 1; i < records.size(); ++i) {
        const QStringList &f = records.at(i);
        if (f.size() != header.size())
            continue;
        BatchReportRow row;
        row.path = f.at(0);
        row.size = f.at(1).toLongLong();
        row.status = f.at(2);
        row.exitCode = f.at(3).toInt();
        row.message = f.at(4);
        row.durationMs = f.at(5).toLongLong();
        row.outputs = f.at(6).isEmpty() ? QStringList() : f.at(6).split(u';');
        row.logFile = f.at(7);
        rows.append(row);
    }
    return rows;
}

QByteArray BatchReport::toJson(const QList<BatchReportRow> &rows, qint64 wallMs)
{
    QMap<QString, int> counts;
    QJsonArray files;
    for (const BatchReportRow &row : rows) {
        ++counts[row.status];
        files.append(QJsonObject{{u"path"_s, row.path},
                                 {u"size"_s, row.size},
                                 {u"status"_s, row.status},
                                 {u"exitCode"_s, row.exitCode},
                                 {u"message"_s, row.message},
                                 {u"durationMs"_s, row.durationMs},
                                 {u"outputs"_s, QJsonArray::fromStringList(row.outputs)},
                                 {u"logFile"_s, row.logFile}});
    }
    QJsonObject byStatus;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        byStatus.insert(it.key(), it.value());
    const QJsonObject summary{
        {u"files"_s, int(rows.size())}, {u"byStatus"_s, byStatus}, {u"wallMs"_s, wallMs}, {u"rows"_s, files}};
    return QJsonDocument(summary).toJson(QJsonDocument::Indented);
}

bool BatchReport::write(const QString &folder, const QList<BatchReportRow> &rows, qint64 wallMs)
{
    const QDir dir(folder);
    const bool csv = save(dir.filePath(csvFileName()), toCsv(rows));
    const bool json = save(dir.filePath(jsonFileName()), toJson(rows, wallMs));
    return csv && json;
}

QList<BatchReportRow> BatchReport::merge(const QList<QList<BatchReportRow>> &parts)
{
    QList<BatchReportRow> rows;
    for (const QList<BatchReportRow> &part : parts)
        rows.append(part);
    // Stable, so a path that two parts both hold (a file converted twice) shows twice, in part order.
    std::stable_sort(rows.begin(), rows.end(),
                     [](const BatchReportRow &a, const BatchReportRow &b) { return a.path < b.path; });
    return rows;
}

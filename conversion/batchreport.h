#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>
#include <QStringList>

// One file's line in the report of a batch.
struct BatchReportRow
{
    QString path;
    qint64 size = 0;
    // "Done", "Failed", "Skipped", "Stopped", "Canceled", "Disabled" or "Pending".
    QString status;
    // The converter's code, or one of the markers for files that did not end by themselves.
    int exitCode = 0;
    QString message;
    qint64 durationMs = 0;
    QStringList outputs;
    QString logFile;
};

// The record of a batch a user (or a script) reads afterwards: a CSV line per file and a
// JSON summary, written beside the batch's logs.
class BatchReport
{
    Q_DECLARE_TR_FUNCTIONS(BatchReport)

public:
    // RFC 4180: a header line, then one line per row; fields with commas, quotes or line
    // breaks are quoted.
    static QByteArray toCsv(const QList<BatchReportRow> &rows);
    static QList<BatchReportRow> fromCsv(const QByteArray &csv);
    // Counts per status, the total time and the rows themselves.
    static QByteArray toJson(const QList<BatchReportRow> &rows, qint64 wallMs);
    // Writes report.csv and report.json into folder; false when either cannot be written.
    static bool write(const QString &folder, const QList<BatchReportRow> &rows, qint64 wallMs);

    // The reports of the parts of one batch as one report: all their rows, ordered by path.
    static QList<BatchReportRow> merge(const QList<QList<BatchReportRow>> &parts);

    static QString csvFileName() { return QStringLiteral("report.csv"); }
    static QString jsonFileName() { return QStringLiteral("report.json"); }
};

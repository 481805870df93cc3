#pragma once

#include "conversion/conversionoptions.h"

#include <QFile>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

// A batch as it was started, enough to run it again.
struct BatchDefinition
{
    QString converterId;
    QString outputDir;
    ConversionOptions options;
    QStringList files;
};

// What a journal says about a batch: its definition and every outcome recorded so far.
struct BatchState
{
    BatchDefinition batch;
    // Exit code per finished file.
    QHash<QString, int> finished;
    // Set when the batch ended by itself or was stopped by the user; nothing to resume then.
    bool ended = false;
    QString journalPath;

    // The files that never finished, in batch order; a file that was running counts.
    QStringList remaining() const;
};

// The record of a running batch on disk, one JSON object a line, appended and flushed as
// things happen. A program killed at any instant leaves whole lines and at most one torn
// last line, which the reader skips; nothing written before is ever rewritten.
class BatchJournal
{
public:
    BatchJournal() = default;
    Q_DISABLE_COPY_MOVE(BatchJournal)

    // Makes a new batch folder below `root` (with its own logs/ folder) and writes the
    // definition. False when the folder or file cannot be made.
    bool begin(const QString &root, const BatchDefinition &batch);
    void fileStarted(const QString &path);
    void fileFinished(const QString &path, int exitCode);
    // The batch ran to its end or the user stopped it: it is not offered for resuming.
    void end();

    bool isOpen() const { return file.isOpen(); }
    QString folder() const { return batchFolder; }
    QString journalPath() const { return file.fileName(); }

    // Where journals live unless told otherwise: the program's data folder.
    static QString defaultRoot();
    static std::optional<BatchState> read(const QString &journalPath);
    // The last batch below root, when it did not end and has files left to run.
    static std::optional<BatchState> findInterrupted(const QString &root);
    // Marks a journal as ended without running it (the user declined to resume).
    static void discard(const QString &journalPath);

private:
    void write(const QByteArray &line);

    QFile file;
    QString batchFolder;
};

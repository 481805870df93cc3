#include "conversion/preflight.h"

#include "common/formatting.h"
#include "conversion/winelauncher.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMap>
#include <QStorageInfo>
#include <QTemporaryFile>

#include <algorithm>

using namespace Qt::StringLiterals;

bool PreflightResult::refused() const
{
    return std::any_of(findings.cbegin(), findings.cend(),
                       [](const PreflightFinding &f) { return f.refuses; });
}

bool Preflight::canWriteIn(const QString &folder)
{
    QTemporaryFile probe(QDir(folder).filePath(u".kvt-write-probe-XXXXXX"_s));
    return probe.open();
}

bool Preflight::isUpToDate(const QString &input, const QStringList &outputs)
{
    if (outputs.isEmpty())
        return false;
    const QDateTime changed = QFileInfo(input).lastModified();
    return std::all_of(outputs.cbegin(), outputs.cend(), [&changed](const QString &output) {
        const QFileInfo result(output);
        return result.exists() && result.lastModified() > changed;
    });
}

PreflightResult Preflight::check(const PreflightInput &input)
{
    PreflightResult result;

    const QFileInfo converter(input.converterPath);
    if (!converter.exists() || !converter.isFile())
        result.findings.append({PreflightFinding::Kind::ConverterUnusable,
                                true,
                                tr("The converter %1 cannot be started: the file does not exist.")
                                    .arg(QDir::toNativeSeparators(input.converterPath)),
                                {input.converterPath}});
    else if (WineLauncher::needsWine(input.converterPath)) {
        // Wine reads the program itself, so it need not be executable; without Wine the run
        // could only fail file after file.
        if (input.wineLauncher.isEmpty())
            result.findings.append({PreflightFinding::Kind::ConverterUnusable,
                                    true,
                                    tr("%1 is a Windows program. Install Wine to run it on this system "
                                       "(Debian: apt install wine).")
                                        .arg(converter.fileName()),
                                    {input.converterPath}});
    } else if (!converter.isExecutable())
        result.findings.append({PreflightFinding::Kind::ConverterUnusable,
                                true,
                                tr("The converter %1 cannot be started: it is not executable.")
                                    .arg(QDir::toNativeSeparators(input.converterPath)),
                                {input.converterPath}});

    // Who writes which result, keyed without case: on Windows and macOS House.xlsx and
    // house.xlsx are one file.
    QHash<QString, QString> writers;
    // Per pair of inputs (in batch order), the names of the results they would share.
    QMap<std::pair<QString, QString>, QStringList> sameOutput;
    QStringList missing;
    QHash<QString, qint64> bytesPerFolder;
    QStringList folders;
    for (const QString &file : input.files) {
        const QFileInfo info(file);
        if (!info.exists()) {
            missing.append(file);
            continue;
        }
        ConversionOptions options = input.options;
        options.inputPath = file;
        const QStringList outputs = expectedOutputFiles(input.converter, options, input.outputDir);
        for (const QString &output : outputs) {
            const QString key = QDir::cleanPath(output).toCaseFolded();
            const auto earlier = writers.constFind(key);
            if (earlier == writers.cend())
                writers.insert(key, file);
            else if (*earlier != file)
                sameOutput[{*earlier, file}].append(QFileInfo(output).fileName());
        }
        const QString folder = input.outputDir.isEmpty() ? info.absolutePath() : input.outputDir;
        if (!bytesPerFolder.contains(folder))
            folders.append(folder);
        bytesPerFolder[folder] += info.size();
        if (input.skipUpToDate && isUpToDate(file, outputs)) {
            result.upToDate.append(file);
            continue;
        }
        result.filesToRun.append(file);
    }

    if (!sameOutput.isEmpty()) {
        QStringList pairs;
        QStringList paths;
        for (auto it = sameOutput.cbegin(); it != sameOutput.cend(); ++it) {
            pairs.append(tr("%1 and %2 would both write %3")
                             .arg(QDir::toNativeSeparators(it.key().first),
                                  QDir::toNativeSeparators(it.key().second), it.value().join(u", "_s)));
            paths << it.key().first << it.key().second;
        }
        result.findings.append(
            {PreflightFinding::Kind::SameOutput, true,
             tr("Some files would overwrite each other's results:\n%1").arg(pairs.join(u'\n')), paths});
    }

    for (const QString &folder : std::as_const(folders)) {
        if (!QFileInfo(folder).isDir() || !canWriteIn(folder)) {
            result.findings.append(
                {PreflightFinding::Kind::OutputNotWritable,
                 true,
                 tr("The results cannot be written to %1.").arg(QDir::toNativeSeparators(folder)),
                 {folder}});
            continue;
        }
        // The results are seldom larger than the models; less room than that is worth a word.
        const qint64 needed = bytesPerFolder.value(folder);
        const qint64 available = QStorageInfo(folder).bytesAvailable();
        if (available >= 0 && available < needed)
            result.findings.append(
                {PreflightFinding::Kind::LowSpace,
                 false,
                 tr("%1 has %2 free, less than the %3 of the files to convert.")
                     .arg(QDir::toNativeSeparators(folder), formatSize(available), formatSize(needed)),
                 {folder}});
    }

    if (!missing.isEmpty()) {
        QStringList shown;
        for (const QString &file : std::as_const(missing))
            shown.append(QDir::toNativeSeparators(file));
        result.findings.append(
            {PreflightFinding::Kind::MissingInput, false,
             tr("%n file(s) no longer exist and will be left out:\n%1", nullptr, int(missing.size()))
                 .arg(shown.join(u'\n')),
             missing});
    }
    if (!result.upToDate.isEmpty())
        result.findings.append({PreflightFinding::Kind::UpToDate, false,
                                tr("%n file(s) have up-to-date results and will be skipped.", nullptr,
                                   int(result.upToDate.size())),
                                result.upToDate});
    return result;
}

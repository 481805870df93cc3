#include "app/runflow.h"

#include "common/formatting.h"
#include "conversion/converteroutput.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// "1 succeeded, 2 failed, 3 skipped" with the zero counts of failures and skips left out.
QStringList countParts(int successCount, int failCount, int skipCount)
{
    QStringList parts{RunFlow::tr("%1 succeeded").arg(successCount)};
    if (failCount > 0)
        parts.append(RunFlow::tr("%1 failed").arg(failCount));
    if (skipCount > 0)
        parts.append(RunFlow::tr("%1 skipped").arg(skipCount));
    return parts;
}

QString folderOf(const QString &filePath)
{
    return QFileInfo(filePath).absolutePath();
}

} // namespace

QString RunFlow::missingOutputMessage()
{
    return tr("Please, enter the output directory.");
}

QString RunFlow::missingInputMessage(const InputSelection &input)
{
    if (input.mode == InputMode::SingleFile && input.filePath.isEmpty())
        return tr("Please, select the project file.");
    if (input.mode == InputMode::Folder && input.folderPath.isEmpty())
        return tr("Please, enter the input directory.");
    if (input.mode == InputMode::MultipleFiles && input.files.isEmpty())
        return tr("Please, select files to convert.");
    return tr("No active files to convert.");
}

QString RunFlow::confirmationText(const QFileInfoList &files, const QString &modeLabel)
{
    qint64 totalBytes = 0;
    for (const QFileInfo &file : files)
        totalBytes += file.size();
    if (files.size() > 1)
        return tr("Convert %1 files (%2)?\n\nMode: %3")
            .arg(files.size())
            .arg(formatSize(totalBytes), modeLabel);
    const QString name = files.isEmpty() ? QString() : files.constFirst().fileName();
    return tr("Convert %1 (%2)?\n\nMode: %3").arg(name, formatSize(totalBytes), modeLabel);
}

RunFlow::Summary RunFlow::summary(int successCount, int failCount, int skipCount)
{
    if (failCount == 0 && skipCount == 0)
        return {tr("%1 file(s) converted successfully.").arg(successCount), u"success"_s};
    if (failCount == 0)
        return {tr("%1 succeeded, %2 skipped.").arg(successCount).arg(skipCount), u"success"_s};
    return {countParts(successCount, failCount, skipCount).join(", "_L1) + u'.', u"error"_s};
}

QString RunFlow::filesTabTitle(int failCount)
{
    return failCount < 1 ? tr("Files") : tr("Files (%1 failed)").arg(failCount);
}

RunFlow::Notice RunFlow::endToast(int successCount, int failCount, int skipCount, const QString &duration)
{
    if (failCount > 0 || skipCount > 0)
        return {
            tr("Done: %1 (%2)").arg(countParts(successCount, failCount, skipCount).join(", "_L1), duration),
            5000};
    return {tr("Done: %1 file(s) in %2").arg(successCount).arg(duration), 4000};
}

RunFlow::TrayNotice RunFlow::endTrayNotice(int successCount, int failCount, int skipCount)
{
    if (failCount > 0 || skipCount > 0)
        return {countParts(successCount, failCount, skipCount).join(", "_L1),
                failCount < 1 ? QSystemTrayIcon::Information : QSystemTrayIcon::Warning};
    return {tr("%1 file(s) converted successfully.").arg(successCount), QSystemTrayIcon::Information};
}

QString RunFlow::windowTitle(const QString &appTitle, int percent, int number, int total)
{
    if (total < 1)
        return tr("[%1%] %2").arg(QString::number(percent), appTitle);
    return tr("[%1%] %2 - File %3 of %4")
        .arg(QString::number(percent), appTitle, QString::number(number), QString::number(total));
}

QString RunFlow::progressText(int number, int total, const QString &fileName, const QString &stage,
                              const QString &elapsed)
{
    const QString name = elidedName(fileName);
    if (stage.isEmpty())
        return tr("File %1 of %2: %3 — %4")
            .arg(QString::number(number), QString::number(total), name, elapsed);
    return tr("File %1 of %2: %3 — %4 (%5)")
        .arg(QString::number(number), QString::number(total), name, stage, elapsed);
}

QString RunFlow::statusText(int number, int total, const QString &elapsed)
{
    return tr("Converting file %1 of %2... (%3)").arg(number).arg(total).arg(elapsed);
}

QString RunFlow::parallelWindowTitle(const QString &appTitle, int percent, int first, int last, int total)
{
    return tr("[%1%] %2 - Files %3–%4 of %5")
        .arg(QString::number(percent), appTitle, QString::number(first), QString::number(last),
             QString::number(total));
}

QString RunFlow::parallelProgressText(int first, int last, int total, int runningCount, const QString &stage,
                                      const QString &elapsed)
{
    const QString files =
        tr("Files %1–%2 of %3: %4 running").arg(first).arg(last).arg(total).arg(runningCount);
    if (stage.isEmpty())
        return tr("%1 — %2").arg(files, elapsed);
    return tr("%1 — %2 (%3)").arg(files, elidedName(stage, 2 * progressNameLength), elapsed);
}

QString RunFlow::parallelStatusText(int first, int last, int total, const QString &elapsed)
{
    return tr("Converting files %1–%2 of %3... (%4)").arg(first).arg(last).arg(total).arg(elapsed);
}

QString RunFlow::elidedName(const QString &name, int maxLength)
{
    if (name.size() <= maxLength || maxLength < 1)
        return name;
    return name.left(maxLength - 1) + QChar(0x2026);
}

QString RunFlow::elapsedText(bool valid, qint64 elapsedMs)
{
    return valid ? formatClock(elapsedMs) : u"00:00"_s;
}

QString RunFlow::fileErrorLine(const QString &fileName, int exitCode)
{
    return tr("[ERROR] %1: %2").arg(fileName, exitCodeMessage(exitCode));
}

QString RunFlow::skippedLine(const QString &fileName)
{
    return tr("[SKIPPED] %1: Skipped by user.").arg(fileName);
}

QRect RunFlow::defaultGeometry(const QRect &available)
{
    const int width = std::clamp(available.width() * 7 / 10, 900, 1400);
    const int height = std::clamp(available.height() * 8 / 10, 600, 950);
    const QPoint topLeft(available.x() + (available.width() - width) / 2,
                         available.y() + (available.height() - height) / 2);
    return {topLeft, QSize(width, height)};
}

QString RunFlow::rememberedInputDir(const InputSelection &input)
{
    switch (input.mode) {
    case InputMode::SingleFile:
        return !input.filePath.isEmpty() && QFileInfo::exists(input.filePath) ? folderOf(input.filePath)
                                                                              : QString();
    case InputMode::MultipleFiles:
        return input.files.isEmpty() ? QString() : input.files.constFirst().absolutePath();
    case InputMode::Folder: return input.folderPath;
    }
    return {};
}

QString RunFlow::recentEntry(const InputSelection &input, const QFileInfoList &activeFiles)
{
    switch (input.mode) {
    case InputMode::SingleFile: return input.filePath;
    case InputMode::Folder: return input.folderPath;
    case InputMode::MultipleFiles:
        return activeFiles.isEmpty() ? QString() : activeFiles.constFirst().absolutePath();
    }
    return {};
}

QString RunFlow::outputFolderToOpen(bool sameAsProject, const InputSelection &input, const QString &outputDir)
{
    if (!sameAsProject)
        return outputDir;
    switch (input.mode) {
    case InputMode::SingleFile: return input.filePath.isEmpty() ? QString() : folderOf(input.filePath);
    case InputMode::MultipleFiles:
        return input.files.isEmpty() ? QString() : input.files.constFirst().absolutePath();
    case InputMode::Folder: return input.folderPath;
    }
    return {};
}

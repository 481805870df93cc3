#include "batch/batchcommand.h"
#include "batch/commandline.h"
#include "common/settingskeys.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

namespace {

void print(std::FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    // Its own data folder: the command's batches are not offered for resuming in the window.
    QCoreApplication::setOrganizationName(SettingsKeys::organisationName());
    QCoreApplication::setApplicationName(QStringLiteral("kvtbatch"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION));

    const BatchCommandLine commandLine = BatchCommandLine::parse(QCoreApplication::arguments());
    if (!commandLine.error.isEmpty()) {
        print(stderr, QStringLiteral("kvtbatch: %1\n").arg(commandLine.error) +
                          QCoreApplication::translate("BatchCommandLine", "Try kvtbatch --help.") + u'\n');
        return BatchExit::UsageError;
    }
    switch (commandLine.action) {
    case BatchCommandLine::Action::Help:
        print(stdout, BatchCommandLine::helpText());
        return BatchExit::Converted;
    case BatchCommandLine::Action::Version:
        print(stdout, QStringLiteral("kvtbatch %1\n").arg(QCoreApplication::applicationVersion()));
        return BatchExit::Converted;
    case BatchCommandLine::Action::MergeReports:
        return BatchCommand::mergeReports(commandLine.mergeOutput, commandLine.inputs);
    default: break;
    }

    BatchCommand command(commandLine);
    QObject::connect(&command, &BatchCommand::finished, &app, &QCoreApplication::exit);
    QTimer::singleShot(0, &command, &BatchCommand::start);
    return app.exec();
}

#pragma once

// File dialogs that answer at once with answers queued by the test, and record how they
// were asked (caption, start folder, filter).

#include "common/filedialogs.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

struct FakeFileDialogs
{
    struct Call
    {
        QString kind;
        QString caption;
        QString dir;
        QString filter;
    };

    struct State
    {
        QList<QStringList> answers;
        QList<Call> calls;
    };

    std::shared_ptr<State> state = std::make_shared<State>();

    // The next dialog, of whatever kind, answers with `paths` (empty: cancelled).
    void answer(const QStringList &paths) { state->answers.append(paths); }
    QList<Call> calls() const { return state->calls; }

    FileDialogs dialogs() const
    {
        FileDialogs result;
        auto next = [state = state](const QString &kind, const QString &caption, const QString &dir,
                                    const QString &filter) {
            state->calls.append({kind, caption, dir, filter});
            return state->answers.isEmpty() ? QStringList() : state->answers.takeFirst();
        };
        result.openFileName = [next](QWidget *, const QString &caption, const QString &dir,
                                     const QString &filter) {
            return next(QStringLiteral("file"), caption, dir, filter).value(0);
        };
        result.openFileNames = [next](QWidget *, const QString &caption, const QString &dir,
                                      const QString &filter) {
            return next(QStringLiteral("files"), caption, dir, filter);
        };
        result.existingDirectory = [next](QWidget *, const QString &caption, const QString &dir) {
            return next(QStringLiteral("folder"), caption, dir, QString()).value(0);
        };
        return result;
    }
};

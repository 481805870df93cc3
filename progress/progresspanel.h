#pragma once

#include "progress/ansitext.h"

#include <QByteArray>
#include <QFile>
#include <QHash>
#include <QList>
#include <QTextCharFormat>
#include <QWidget>

#include <functional>

class Dialogs;
class SearchKeyFilter;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QToolButton;

// The converters' output as a coloured, searchable, savable log, with counts of the
// error and warning lines seen since the last clear.
class ProgressPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ProgressPanel)

public:
    explicit ProgressPanel(Dialogs *dialogs, QWidget *parent = nullptr);

    // Whether Escape in the search field closes the search bar (true) or is left to the
    // window, which stops a running conversion with it.
    void setEscapeClosesSearch(bool closes);

    // At most this many converter lines stay in the view (0: no limit); older ones are removed
    // in batches, and the first line then says where the whole log is.
    void setMaximumLines(int lines);
    // The folder the note about removed lines names; empty names none.
    void setFullLogFolder(const QString &folder) { fullLogFolder = folder; }
    // From now on every appended line also goes to this file as plain text, until the log is
    // cleared or another path is given (empty: none); Save Log then copies it.
    void setFullLogFile(const QString &path);

    // True while text handed over still waits to be shown.
    bool isCatchingUp() const { return !backlog.isEmpty(); }

    // The match count over the lines the view holds for the current search text.
    int matchCount() const { return matches; }
    // The view as plain text, including what still waits to be shown.
    QString plainText();
    QPlainTextEdit *logView() const { return log; }

    // Pure texts of the labels, shared by the panel and its tests.
    static QString countText(int count, bool errors);
    static QString matchCountText(int count);
    // Non-overlapping, case-insensitive occurrences of term in text, as the editor's find sees them.
    static int countMatches(QStringView text, QStringView term);
    // Text in the form the whole-log search runs on: case-folded UTF-8.
    static QByteArray foldForSearch(QStringView text);

Q_SIGNALS:
    void logSaved(const QString &path);
    void logCleared();

public Q_SLOTS:
    void appendLog(const QString &text);
    void clearLog();
    void showSearchBar();
    void hideSearchBar();
    void searchFor(const QString &text);
    void saveLogToFile();
    void findNext();
    void findPrevious();
    void highlightAllMatches(const QString &text);

private:
    void drainBacklog();
    void scheduleDrain();
    void flushBacklog();
    void insertLines(QStringView text);
    void trimView();
    void removeOldestLines(qsizetype count);
    qsizetype shownLineCount() const;
    void dropOldBacklog();
    void countSeenLines(QStringView text);
    void countLine(QStringView line);
    void writeFullLog(QStringView text);
    bool copyFullLog(QFile &to);
    QString shownLine(QStringView line);
    void updateCountLabels();
    void refreshVisibleHighlights();
    const QTextCharFormat &formatFor(int colourCode, bool bold);

    QPlainTextEdit *log = nullptr;
    QLabel *errorLabel = nullptr;
    QLabel *warningLabel = nullptr;
    QWidget *searchBar = nullptr;
    QLineEdit *searchEdit = nullptr;
    QLabel *matchLabel = nullptr;
    QToolButton *previousButton = nullptr;
    QToolButton *nextButton = nullptr;
    QToolButton *closeSearchButton = nullptr;
    QPushButton *clearButton = nullptr;
    QPushButton *saveButton = nullptr;
    int errorCount = 0;
    int warningCount = 0;

    // The term whose matches are counted and highlighted; empty when no search is shown.
    QString highlightTerm;
    int matches = 0;
    // The view's lines, case-folded, each ended by a line break: counting matches in it is a
    // byte search instead of a walk over a million text blocks.
    QList<QByteArray> searchText;
    // Bytes at the start of the first piece whose lines were trimmed from the view.
    qsizetype searchTextSkip = 0;
    QHash<int, QTextCharFormat> formats;
    // Text handed over but not shown yet, oldest first; the first block is shown up to
    // backlogOffset.
    QList<QString> backlog;
    qsizetype backlogOffset = 0;
    // Line breaks plus one per block still in the backlog: an upper bound on its lines.
    qsizetype backlogLines = 0;
    int maximumLines = 0;
    // Whether the view's first block is the note about removed lines.
    bool trimNoteShown = false;
    QString fullLogFolder;
    QFile fullLog;
    bool drainScheduled = false;
    int drainSliceMs = 8;
    static constexpr qsizetype drainChunkChars = 16 * 1024;
    static constexpr qsizetype maxShownLineLength = 10000;
    QList<AnsiRun> runScratch;
    Dialogs *dialogs;
    SearchKeyFilter *searchKeys = nullptr;
};

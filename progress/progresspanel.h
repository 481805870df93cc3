#pragma once

#include "progress/ansitext.h"

#include <QByteArray>
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

    // True while text handed over still waits to be shown.
    bool isCatchingUp() const { return !backlog.isEmpty(); }

    // The match count over the whole log for the current search text.
    int matchCount() const { return matches; }
    // The whole log as plain text, including what still waits to be shown.
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
    // The log's text, case-folded, one line per block: counting matches in it is a byte
    // search instead of a walk over a million text blocks.
    QList<QByteArray> searchText;
    QHash<int, QTextCharFormat> formats;
    // Text handed over but not shown yet, oldest first; the first block is shown up to
    // backlogOffset.
    QList<QString> backlog;
    qsizetype backlogOffset = 0;
    bool drainScheduled = false;
    int drainSliceMs = 8;
    static constexpr qsizetype drainChunkChars = 16 * 1024;
    static constexpr qsizetype maxShownLineLength = 10000;
    QList<AnsiRun> runScratch;
    Dialogs *dialogs;
    SearchKeyFilter *searchKeys = nullptr;
};

#include "progress/progresspanel.h"

#include "common/dialogs.h"
#include "common/statuscolours.h"
#include "common/styleroles.h"
#include "conversion/converteroutput.h"

#include <QByteArrayMatcher>
#include <QColor>
#include <QDir>
#include <QElapsedTimer>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QStringMatcher>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextStream>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cstring>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

// Non-overlapping occurrences, as the editor's find steps through them. A term spanning a
// line break never matches there either.
int countFolded(QByteArrayView haystack, const QByteArray &term)
{
    if (term.isEmpty() || term.contains('\n'))
        return 0;
    const QByteArrayMatcher matcher(term);
    int count = 0;
    for (qsizetype at = matcher.indexIn(haystack, 0); at >= 0;
         at = matcher.indexIn(haystack, at + term.size()))
        ++count;
    return count;
}

// Where the count-th line break from the start of text ends (just past it), and how many of
// the count were found there.
std::pair<qsizetype, qsizetype> pastLineBreaks(QByteArrayView text, qsizetype count)
{
    qsizetype cut = 0;
    qsizetype found = 0;
    while (found < count) {
        const void *at = std::memchr(text.data() + cut, '\n', static_cast<size_t>(text.size() - cut));
        if (!at)
            break;
        cut = static_cast<const char *>(at) - text.data() + 1;
        ++found;
    }
    return {cut, found};
}

// Characters the document would take as the start of a new paragraph; inside one
// converter line they are shown as spaces, as HTML would show them.
void replaceBlockBreaks(QString &text)
{
    for (QChar &c : text) {
        if (c == u'\r' || c == QChar::ParagraphSeparator)
            c = u' ';
    }
}

} // namespace

// Escape closes the search bar and Shift+Return steps backwards; the line edit claims
// Escape before any window shortcut sees it.
class SearchKeyFilter final : public QObject
{
public:
    SearchKeyFilter(QObject *parent, std::function<void()> close, std::function<void()> previous)
        : QObject(parent)
        , close(std::move(close))
        , previous(std::move(previous))
    {
    }

    // While a run is active, Escape belongs to the window, which stops the run with it.
    bool claimEscape = true;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::ShortcutOverride) {
            if (claimEscape && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
                event->accept();
                return true;
            }
        } else if (event->type() == QEvent::KeyPress) {
            const auto *key = static_cast<QKeyEvent *>(event);
            if (claimEscape && key->key() == Qt::Key_Escape) {
                close();
                return true;
            }
            if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) &&
                key->modifiers().testFlag(Qt::ShiftModifier)) {
                previous();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> close;
    std::function<void()> previous;
};

namespace {

QToolButton *makeIconButton(const QString &icon, const QString &toolTip, const QString &objectName,
                            QWidget *parent)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(objectName);
    button->setIcon(QIcon(icon));
    button->setToolTip(toolTip);
    button->setFixedSize(24, 24);
    button->setAutoRaise(true);
    return button;
}

} // namespace

ProgressPanel::ProgressPanel(Dialogs *dialogs, QWidget *parent)
    : QWidget(parent)
    , dialogs(dialogs)
{
    setObjectName(u"progressPanel"_s);

    searchBar = new QWidget(this);
    searchBar->setObjectName(u"logSearchBar"_s);
    auto *searchLayout = new QHBoxLayout(searchBar);
    searchLayout->setContentsMargins(4, 4, 4, 0);
    searchLayout->setSpacing(4);
    searchEdit = new QLineEdit(searchBar);
    searchEdit->setObjectName(u"logSearchEdit"_s);
    searchEdit->setPlaceholderText(tr("Search in log..."));
    searchEdit->addAction(QIcon(u":/res/style/icons/search.png"_s), QLineEdit::LeadingPosition);
    matchLabel = new QLabel(searchBar);
    matchLabel->setObjectName(u"logMatchCountLabel"_s);
    matchLabel->setFixedWidth(70);
    setStyleRole(matchLabel, "textRole", u"secondary"_s);
    previousButton = makeIconButton(u":/res/style/icons/chevron-up.png"_s, tr("Previous match"),
                                    u"logPreviousMatchButton"_s, searchBar);
    nextButton = makeIconButton(u":/res/style/icons/chevron-down.png"_s, tr("Next match"),
                                u"logNextMatchButton"_s, searchBar);
    closeSearchButton = makeIconButton(u":/res/style/icons/x.png"_s, tr("Close search"),
                                       u"logCloseSearchButton"_s, searchBar);
    searchLayout->addWidget(searchEdit);
    searchLayout->addWidget(matchLabel);
    searchLayout->addWidget(previousButton);
    searchLayout->addWidget(nextButton);
    searchLayout->addWidget(closeSearchButton);
    searchBar->hide();

    log = new QPlainTextEdit(this);
    log->setObjectName(u"logView"_s);
    log->setReadOnly(true);
    // Undo history would keep a second copy of every inserted line.
    log->setUndoRedoEnabled(false);
    log->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    clearButton = new QPushButton(tr("Clear"), this);
    clearButton->setObjectName(u"logClearButton"_s);
    clearButton->setFlat(true);
    clearButton->setCursor(Qt::PointingHandCursor);
    clearButton->setToolTip(tr("Clear log (Ctrl+L)"));
    errorLabel = new QLabel(this);
    errorLabel->setObjectName(u"logErrorCountLabel"_s);
    errorLabel->setStyleSheet(u"color: %1; font-weight: bold;"_s.arg(QColor(StatusColours::error).name()));
    errorLabel->hide();
    warningLabel = new QLabel(this);
    warningLabel->setObjectName(u"logWarningCountLabel"_s);
    warningLabel->setStyleSheet(
        u"color: %1; font-weight: bold;"_s.arg(QColor(StatusColours::warning).name()));
    warningLabel->hide();
    saveButton = new QPushButton(QIcon(u":/res/style/icons/save.png"_s), tr("Save Log"), this);
    saveButton->setObjectName(u"logSaveButton"_s);
    saveButton->setToolTip(tr("Save log to file (Ctrl+S)"));

    auto *toolRow = new QHBoxLayout;
    toolRow->setContentsMargins(4, 0, 4, 4);
    toolRow->addWidget(clearButton);
    toolRow->addSpacing(6);
    toolRow->addWidget(errorLabel);
    toolRow->addWidget(warningLabel);
    toolRow->addStretch();
    toolRow->addWidget(saveButton);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(searchBar);
    layout->addWidget(log, 1);
    layout->addLayout(toolRow);

    connect(searchEdit, &QLineEdit::textChanged, this, &ProgressPanel::highlightAllMatches);
    connect(searchEdit, &QLineEdit::returnPressed, this, &ProgressPanel::findNext);
    searchKeys = new SearchKeyFilter(
        this, [this] { hideSearchBar(); }, [this] { findPrevious(); });
    searchEdit->installEventFilter(searchKeys);
    connect(previousButton, &QToolButton::clicked, this, &ProgressPanel::findPrevious);
    connect(nextButton, &QToolButton::clicked, this, &ProgressPanel::findNext);
    connect(closeSearchButton, &QToolButton::clicked, this, &ProgressPanel::hideSearchBar);
    connect(clearButton, &QPushButton::clicked, this, &ProgressPanel::clearLog);
    connect(saveButton, &QPushButton::clicked, this, &ProgressPanel::saveLogToFile);
    // Only the matches on screen carry a highlight, so they follow the view.
    connect(log->verticalScrollBar(), &QScrollBar::valueChanged, this,
            &ProgressPanel::refreshVisibleHighlights);
    connect(log->verticalScrollBar(), &QScrollBar::rangeChanged, this,
            &ProgressPanel::refreshVisibleHighlights);
}

void ProgressPanel::setEscapeClosesSearch(bool closes)
{
    searchKeys->claimEscape = closes;
}

void ProgressPanel::setMaximumLines(int lines)
{
    maximumLines = std::max(lines, 0);
    if (maximumLines > 0 && backlogLines > maximumLines)
        dropOldBacklog();
    trimView();
}

void ProgressPanel::setFullLogFile(const QString &path)
{
    if (fullLog.isOpen() && path == fullLog.fileName())
        return;
    fullLog.close();
    fullLog.setFileName(path);
    // A file that cannot be opened is left out; Save Log then saves the view as before.
    if (!path.isEmpty())
        fullLog.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text);
}

QString ProgressPanel::plainText()
{
    flushBacklog();
    return log->toPlainText();
}

QString ProgressPanel::countText(int count, bool errors)
{
    const QString plural = count == 1 ? QString() : u"s"_s;
    return errors ? tr("%1 error%2").arg(count).arg(plural) : tr("%1 warning%2").arg(count).arg(plural);
}

QString ProgressPanel::matchCountText(int count)
{
    if (count == 0)
        return tr("No matches");
    return tr("%1 match%2").arg(count).arg(count == 1 ? QString() : u"es"_s);
}

QByteArray ProgressPanel::foldForSearch(QStringView text)
{
    return text.toString().toCaseFolded().toUtf8();
}

int ProgressPanel::countMatches(QStringView text, QStringView term)
{
    return countFolded(foldForSearch(text), foldForSearch(term));
}

const QTextCharFormat &ProgressPanel::formatFor(int colourCode, bool bold)
{
    const int key = colourCode * 2 + (bold ? 1 : 0);
    auto it = formats.find(key);
    if (it == formats.end()) {
        QTextCharFormat format;
        if (colourCode != 0)
            format.setForeground(QColor(ansiPaletteColour(colourCode)));
        if (bold)
            format.setFontWeight(QFont::Bold);
        it = formats.insert(key, format);
    }
    return *it;
}

void ProgressPanel::appendLog(const QString &text)
{
    if (text.isEmpty())
        return;
    writeFullLog(text);
    backlog.append(text);
    backlogLines += text.count(u'\n') + 1;
    if (maximumLines > 0 && backlogLines > maximumLines)
        dropOldBacklog();
    // A few lines go in at once; more go in slices, with the event loop free in between, so
    // Stop and the rest of the window never wait for the log.
    if (backlog.size() == 1 && text.size() <= drainChunkChars)
        drainBacklog();
    else
        scheduleDrain();
}

void ProgressPanel::drainBacklog()
{
    QElapsedTimer slice;
    slice.start();
    while (!backlog.isEmpty() && !slice.hasExpired(drainSliceMs)) {
        const QString &block = backlog.constFirst();
        // Whole lines, a bounded amount at a time.
        qsizetype end = block.size();
        if (end - backlogOffset > drainChunkChars) {
            end = block.indexOf(u'\n', backlogOffset + drainChunkChars);
            if (end < 0)
                end = block.size();
        }
        const QStringView chunk = QStringView(block).mid(backlogOffset, end - backlogOffset);
        backlogLines -= chunk.count(u'\n') + 1;
        insertLines(chunk);
        backlogOffset = end + 1;
        if (backlogOffset >= block.size()) {
            // A block ending in a line break leaves an empty last line that no chunk takes.
            if (backlogOffset == block.size())
                --backlogLines;
            backlog.removeFirst();
            backlogOffset = 0;
        }
    }
    scheduleDrain();
}

void ProgressPanel::dropOldBacklog()
{
    qsizetype excess = backlogLines - maximumLines;
    while (excess > 0 && !backlog.isEmpty()) {
        const QStringView rest = QStringView(backlog.constFirst()).sliced(backlogOffset);
        qsizetype cut = 0;
        qsizetype breaks = 0;
        for (qsizetype at = 0; breaks < excess && (at = rest.indexOf(u'\n', cut)) >= 0; ++breaks)
            cut = at + 1;
        if (breaks < excess) {
            countSeenLines(rest);
            backlogLines -= breaks + 1;
            excess -= breaks + 1;
            backlog.removeFirst();
            backlogOffset = 0;
        } else {
            countSeenLines(rest.first(cut));
            backlogOffset += cut;
            backlogLines -= excess;
            excess = 0;
        }
    }
    // Everything the view holds is older than what was just dropped; kept, it would sit
    // above a gap the reader cannot see.
    removeOldestLines(shownLineCount());
    updateCountLabels();
}

void ProgressPanel::countSeenLines(QStringView text)
{
    for (const QStringView part : text.tokenize(u'\n', Qt::SkipEmptyParts)) {
        const QStringView line = part.trimmed();
        if (!line.isEmpty())
            countLine(line.left(maxShownLineLength));
    }
}

void ProgressPanel::countLine(QStringView line)
{
    switch (classifyLine(line)) {
    case LineKind::Error: ++errorCount; break;
    case LineKind::Warning: ++warningCount; break;
    case LineKind::Plain: break;
    }
}

qsizetype ProgressPanel::shownLineCount() const
{
    const QTextDocument *document = log->document();
    if (document->isEmpty())
        return 0;
    return document->blockCount() - (trimNoteShown ? 1 : 0);
}

void ProgressPanel::trimView()
{
    if (maximumLines <= 0)
        return;
    // In batches, each one document change; a fortieth of the limit keeps one removal short
    // (5,000 of 200,000 lines took under 20 ms where 20,000 took about 70 ms).
    const qsizetype shown = shownLineCount();
    if (shown > maximumLines + maximumLines / 40)
        removeOldestLines(shown - maximumLines);
}

void ProgressPanel::removeOldestLines(qsizetype count)
{
    QTextDocument *document = log->document();
    const qsizetype shown = shownLineCount();
    const QString note = fullLogFolder.isEmpty()
                             ? tr("Earlier lines are no longer shown here.")
                             : tr("Earlier lines are no longer shown here; the full log is in %1")
                                   .arg(QDir::toNativeSeparators(fullLogFolder));
    QTextCharFormat noteFormat;
    noteFormat.setFontItalic(true);
    if (count >= shown) {
        // Clearing is far cheaper than removing a selection of many blocks.
        log->clear();
        QTextCursor(document).insertText(note, noteFormat);
    } else {
        const int firstKept = static_cast<int>(count) + (trimNoteShown ? 1 : 0);
        QTextCursor cursor(document);
        cursor.setPosition(document->findBlockByNumber(firstKept).position(), QTextCursor::KeepAnchor);
        cursor.insertText(note + u'\n', noteFormat);
    }
    trimNoteShown = true;

    // The search copy holds one line-break-terminated line per line shown.
    const QByteArray term = highlightTerm.isEmpty() ? QByteArray() : foldForSearch(highlightTerm);
    qsizetype left = count;
    while (left > 0 && !searchText.isEmpty()) {
        const QByteArrayView rest = QByteArrayView(searchText.constFirst()).sliced(searchTextSkip);
        const auto [cut, found] = pastLineBreaks(rest, left);
        if (!term.isEmpty())
            matches -= countFolded(rest.first(cut), term);
        left -= found;
        if (cut == rest.size()) {
            searchText.removeFirst();
            searchTextSkip = 0;
        } else {
            searchTextSkip += cut;
        }
    }
    if (!term.isEmpty())
        matchLabel->setText(matchCountText(matches));
}

void ProgressPanel::writeFullLog(QStringView text)
{
    if (!fullLog.isOpen())
        return;
    QString plain;
    plain.reserve(text.size());
    for (const QStringView part : text.tokenize(u'\n', Qt::SkipEmptyParts)) {
        const QStringView line = part.trimmed();
        if (line.isEmpty())
            continue;
        plain += withoutEscapes(line);
        plain += u'\n';
    }
    const QByteArray bytes = plain.toUtf8();
    // A file that stops taking text (a full disk) is given up; Save Log then saves the view.
    if (fullLog.write(bytes) != bytes.size())
        fullLog.close();
}

void ProgressPanel::scheduleDrain()
{
    if (backlog.isEmpty() || drainScheduled)
        return;
    drainScheduled = true;
    QTimer::singleShot(0, this, [this] {
        drainScheduled = false;
        drainBacklog();
    });
}

void ProgressPanel::flushBacklog()
{
    const int savedSliceMs = std::exchange(drainSliceMs, std::numeric_limits<int>::max());
    drainBacklog();
    drainSliceMs = savedSliceMs;
}

QString ProgressPanel::shownLine(QStringView line)
{
    if (line.size() <= maxShownLineLength)
        return line.toString();
    // Laying out a line costs more than linearly with its length; the rest of it is left out
    // of the view, with a mark that says so.
    return line.left(maxShownLineLength).toString() +
           tr(" … [%1 more characters not shown]").arg(line.size() - maxShownLineLength);
}

void ProgressPanel::insertLines(QStringView text)
{
    QTextDocument *document = log->document();
    bool documentEmpty = document->isEmpty();
    const int errorsBefore = errorCount;
    const int warningsBefore = warningCount;
    const int matchesBefore = matches;
    // Everything inserted now, as plain text, for the search copy.
    QString added;

    QTextCursor cursor(document);
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    // Uncoloured lines, the vast majority, are gathered and inserted in one call.
    QString pending;
    bool inserted = false;
    const QTextCharFormat plainFormat;
    for (const QStringView part : text.tokenize(u'\n', Qt::SkipEmptyParts)) {
        const QString line = shownLine(part.trimmed());
        if (line.isEmpty())
            continue;
        countLine(line);

        if (!ansiToRuns(line, runScratch))
            continue;
        for (AnsiRun &run : runScratch)
            replaceBlockBreaks(run.text);
        if (!documentEmpty)
            pending += u'\n';
        const bool plainLine =
            runScratch.isEmpty() ||
            (runScratch.size() == 1 && runScratch.first().colourCode == 0 && !runScratch.first().bold);
        if (plainLine) {
            if (!runScratch.isEmpty())
                pending += runScratch.first().text;
        } else {
            if (!pending.isEmpty()) {
                cursor.insertText(pending, plainFormat);
                pending.clear();
            }
            for (const AnsiRun &run : std::as_const(runScratch))
                cursor.insertText(run.text, formatFor(run.colourCode, run.bold));
        }
        if (!documentEmpty || !runScratch.isEmpty()) {
            for (const AnsiRun &run : std::as_const(runScratch))
                added += run.text;
            added += u'\n';
        }
        documentEmpty = documentEmpty && runScratch.isEmpty();
        inserted = true;
    }
    if (!pending.isEmpty())
        cursor.insertText(pending, plainFormat);
    cursor.endEditBlock();
    if (!added.isEmpty()) {
        const QByteArray folded = foldForSearch(added);
        // Kept in fixed-size pieces: one growing buffer would be copied whole, with the
        // GUI waiting, each time it doubles. A piece starts at a line break, so no match
        // spans two pieces.
        constexpr qsizetype pieceBytes = 4 * 1024 * 1024;
        if (searchText.isEmpty() || searchText.last().size() + folded.size() > searchText.last().capacity()) {
            searchText.append(QByteArray());
            searchText.last().reserve(std::max(pieceBytes, folded.size()));
        }
        searchText.last().append(folded);
        if (!highlightTerm.isEmpty())
            matches += countFolded(folded, foldForSearch(highlightTerm));
    }
    trimView();

    if (errorCount != errorsBefore || warningCount != warningsBefore)
        updateCountLabels();
    if (matches != matchesBefore)
        matchLabel->setText(matchCountText(matches));
    if (inserted) {
        QScrollBar *bar = log->verticalScrollBar();
        bar->setValue(bar->maximum());
    }
}

void ProgressPanel::updateCountLabels()
{
    errorLabel->setText(countText(errorCount, true));
    errorLabel->setVisible(errorCount > 0);
    warningLabel->setText(countText(warningCount, false));
    warningLabel->setVisible(warningCount > 0);
}

void ProgressPanel::clearLog()
{
    backlog.clear();
    backlogOffset = 0;
    backlogLines = 0;
    log->clear();
    trimNoteShown = false;
    searchText.clear();
    searchTextSkip = 0;
    fullLog.close();
    fullLog.setFileName(QString());
    errorCount = 0;
    warningCount = 0;
    errorLabel->hide();
    warningLabel->hide();
    if (!highlightTerm.isEmpty()) {
        matches = 0;
        matchLabel->setText(matchCountText(0));
    }
    refreshVisibleHighlights();
    Q_EMIT logCleared();
}

void ProgressPanel::showSearchBar()
{
    searchBar->show();
    searchEdit->setFocus(Qt::ShortcutFocusReason);
    searchEdit->selectAll();
    if (highlightTerm != searchEdit->text())
        highlightAllMatches(searchEdit->text());
}

void ProgressPanel::hideSearchBar()
{
    searchBar->hide();
    // The text stays for the next time the bar opens; the highlights go with the bar.
    highlightAllMatches(QString());
    log->setFocus();
}

void ProgressPanel::searchFor(const QString &text)
{
    searchBar->show();
    if (searchEdit->text() != text)
        searchEdit->setText(text);
    else if (highlightTerm != text)
        highlightAllMatches(text);
    log->moveCursor(QTextCursor::Start);
    findNext();
}

void ProgressPanel::findNext()
{
    const QString term = searchEdit->text();
    if (term.isEmpty())
        return;
    if (!log->find(term)) {
        log->moveCursor(QTextCursor::Start);
        log->find(term);
    }
}

void ProgressPanel::findPrevious()
{
    const QString term = searchEdit->text();
    if (term.isEmpty())
        return;
    if (!log->find(term, QTextDocument::FindBackward)) {
        log->moveCursor(QTextCursor::End);
        log->find(term, QTextDocument::FindBackward);
    }
}

void ProgressPanel::highlightAllMatches(const QString &text)
{
    highlightTerm = text;
    matches = 0;
    if (text.isEmpty()) {
        log->setExtraSelections({});
        matchLabel->clear();
        return;
    }
    // The count covers all the view holds, in its case-folded copy; only what is on screen is
    // highlighted (see refreshVisibleHighlights), which keeps a search of a huge log fast.
    const QByteArray term = foldForSearch(text);
    for (qsizetype i = 0; i < searchText.size(); ++i)
        matches += countFolded(QByteArrayView(searchText.at(i)).sliced(i == 0 ? searchTextSkip : 0), term);
    matchLabel->setText(matchCountText(matches));
    refreshVisibleHighlights();
}

void ProgressPanel::refreshVisibleHighlights()
{
    if (highlightTerm.isEmpty()) {
        if (!log->extraSelections().isEmpty())
            log->setExtraSelections({});
        return;
    }
    const QRect area = log->viewport()->rect();
    const QTextBlock first = log->cursorForPosition(area.topLeft()).block();
    const QTextBlock last = log->cursorForPosition(area.bottomRight()).block();
    const QStringMatcher matcher(highlightTerm, Qt::CaseInsensitive);
    const qsizetype length = highlightTerm.size();

    QTextCharFormat highlight;
    highlight.setBackground(QColor(255, 255, 0, 80));
    QList<QTextEdit::ExtraSelection> selections;
    // The note about removed lines is not part of the log the count covers.
    const QTextBlock note = trimNoteShown ? log->document()->firstBlock() : QTextBlock();
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
        const QString blockText = block != note ? block.text() : QString();
        for (qsizetype at = matcher.indexIn(blockText, 0); at >= 0;
             at = matcher.indexIn(blockText, at + length)) {
            QTextCursor cursor(block);
            cursor.setPosition(block.position() + static_cast<int>(at));
            cursor.setPosition(block.position() + static_cast<int>(at + length), QTextCursor::KeepAnchor);
            selections.append({cursor, highlight});
        }
        if (block == last)
            break;
    }
    log->setExtraSelections(selections);
}

void ProgressPanel::saveLogToFile()
{
    flushBacklog();
    const QString path =
        dialogs->saveFileName(this, tr("Save Log"), QString(), tr("Text Files (*.txt);;All Files (*)"));
    if (path.isEmpty())
        return;
    // Saved onto the full log itself, which already holds everything: opening it for
    // writing would empty it.
    if (fullLog.isOpen() && QFileInfo(path) == QFileInfo(fullLog.fileName())) {
        fullLog.flush();
        Q_EMIT logSaved(path);
        return;
    }
    QFile file(path);
    const auto fail = [&] {
        dialogs->showWarning(this, tr("Save Failed"),
                             tr("Could not write to file:\n%1\n\n%2").arg(path, file.errorString()));
    };
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        fail();
        return;
    }
    if (fullLog.isOpen()) {
        if (!copyFullLog(file)) {
            fail();
            return;
        }
        file.close();
        Q_EMIT logSaved(path);
        return;
    }
    // Written line by line, so saving a huge log needs no second copy of it in memory.
    QTextStream out(&file);
    for (QTextBlock block = log->document()->begin(); block.isValid(); block = block.next()) {
        if (block != log->document()->begin())
            out << '\n';
        out << block.text();
    }
    out.flush();
    if (out.status() != QTextStream::Ok || !file.flush()) {
        fail();
        return;
    }
    file.close();
    Q_EMIT logSaved(path);
}

bool ProgressPanel::copyFullLog(QFile &to)
{
    if (!fullLog.flush())
        return false;
    QFile from(fullLog.fileName());
    if (!from.open(QIODevice::ReadOnly))
        return false;
    // In pieces: the whole batch's log may be far larger than what the view holds.
    QByteArray piece;
    while (!(piece = from.read(1024 * 1024)).isEmpty()) {
        if (to.write(piece) != piece.size())
            return false;
    }
    return from.error() == QFileDevice::NoError && to.flush();
}

#include "common/dropoverlay.h"
#include "common/settingskeys.h"
#include "conversion/converterinfo.h"
#include "input/inputpanel.h"
#include "testsupport/droptesting.h"
#include "testsupport/fakefiledialogs.h"

#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using DropTesting::localUrls;
using DropTesting::writeFile;

namespace {

enum class Mode { Single, Folder, Multiple };

QStringList absolutePaths(const QFileInfoList &files)
{
    QStringList paths;
    for (const QFileInfo &file : files)
        paths.append(file.absoluteFilePath());
    return paths;
}

} // namespace

Q_DECLARE_METATYPE(Mode)

class tst_InputPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void oneRowEnabledPerMode_data();
    void oneRowEnabledPerMode();
    void drops_data();
    void drops();
    void overlayFollowsTheDrag_data();
    void overlayFollowsTheDrag();
    void browsingAddsWithoutDuplicatesAndDropReplaces();
    void dialogsShareTheirStartFolder();
    void recentButtonAndSummary();

private:
    QString path(const QString &relative) const { return dir->filePath(relative); }
    std::unique_ptr<InputPanel> makePanel(const QString &converterId = u"revit"_s);

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<QSettings> settings;
    FakeFileDialogs fakeDialogs;
};

void tst_InputPanel::init()
{
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    settings = std::make_unique<QSettings>(dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
    fakeDialogs = FakeFileDialogs();
    for (const QString &name : {u"models/a.rvt"_s, u"models/b.rfa"_s, u"models/c.rvt"_s,
                                u"models/MODEL.RVT"_s, u"models/notes.txt"_s})
        QVERIFY(writeFile(path(name)));
    QVERIFY(QDir().mkpath(path(u"folder1"_s)));
    QVERIFY(QDir().mkpath(path(u"folder2"_s)));
}

void tst_InputPanel::cleanup()
{
    settings.reset();
    dir.reset();
}

std::unique_ptr<InputPanel> tst_InputPanel::makePanel(const QString &converterId)
{
    auto panel = std::make_unique<InputPanel>(settings.get());
    panel->setConverter(makeConverterInfo(converterId, true));
    panel->setFileDialogs(fakeDialogs.dialogs());
    panel->resize(420, 300);
    panel->show();
    return panel;
}

void tst_InputPanel::oneRowEnabledPerMode_data()
{
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<QString>("enabledRow");
    QTest::addRow("folder") << Mode::Folder << u"folderRow"_s;
    QTest::addRow("multiple") << Mode::Multiple << u"multipleRow"_s;
    QTest::addRow("single again") << Mode::Single << u"singleFileRow"_s;
}

void tst_InputPanel::oneRowEnabledPerMode()
{
    QFETCH(Mode, mode);
    QFETCH(QString, enabledRow);
    auto panel = makePanel();
    // Start elsewhere so that every row gets switched.
    if (mode == Mode::Single)
        panel->setFolderMode();
    const QFileInfoList files{QFileInfo(path(u"models/a.rvt"_s)), QFileInfo(path(u"models/b.rfa"_s))};
    panel->setSelectedFiles(files);

    QSignalSpy changed(panel.get(), &InputPanel::inputChanged);
    switch (mode) {
    case Mode::Single: panel->setSingleFileMode(); break;
    case Mode::Folder: panel->setFolderMode(); break;
    case Mode::Multiple: panel->setMultipleMode(); break;
    }
    QCOMPARE(changed.size(), 1);
    QCOMPARE(panel->isSingleFileMode(), mode == Mode::Single);
    QCOMPARE(panel->isFolderMode(), mode == Mode::Folder);
    QCOMPARE(panel->isMultipleMode(), mode == Mode::Multiple);
    for (const QString &row : {u"singleFileRow"_s, u"folderRow"_s, u"multipleRow"_s})
        QCOMPARE(panel->findChild<QWidget *>(row)->isEnabled(), row == enabledRow);
    // The hand-picked list survives mode switches.
    QCOMPARE(panel->selectedFiles(), files);
}

void tst_InputPanel::drops_data()
{
    QTest::addColumn<QString>("converter");
    QTest::addColumn<QStringList>("dropped");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("listSignals");

    QTest::addRow("folder wins over files")
        << u"revit"_s << QStringList{u"models/a.rvt"_s, u"folder1"_s, u"models/c.rvt"_s} << true
        << Mode::Folder << QStringList{u"folder1"_s} << 0;
    QTest::addRow("second folder ignored") << u"revit"_s << QStringList{u"folder1"_s, u"folder2"_s} << true
                                           << Mode::Folder << QStringList{u"folder1"_s} << 0;
    QTest::addRow("MODEL.RVT accepted by Revit") << u"revit"_s << QStringList{u"models/MODEL.RVT"_s} << true
                                                 << Mode::Single << QStringList{u"models/MODEL.RVT"_s} << 0;
    QTest::addRow("other files skipped")
        << u"revit"_s << QStringList{u"models/notes.txt"_s, u"models/b.rfa"_s} << true << Mode::Single
        << QStringList{u"models/b.rfa"_s} << 0;
    QTest::addRow("several files replace the list")
        << u"revit"_s << QStringList{u"models/c.rvt"_s, u"models/b.rfa"_s} << true << Mode::Multiple
        << QStringList{u"models/c.rvt"_s, u"models/b.rfa"_s} << 1;
    QTest::addRow(".rvt refused by the IFC converter")
        << u"ifc"_s << QStringList{u"models/a.rvt"_s} << false << Mode::Single << QStringList{} << 0;
}

void tst_InputPanel::drops()
{
    QFETCH(QString, converter);
    QFETCH(QStringList, dropped);
    QFETCH(bool, accepted);
    QFETCH(Mode, mode);
    QFETCH(QStringList, expected);
    QFETCH(int, listSignals);

    auto panel = makePanel(converter);
    const QFileInfoList earlier{QFileInfo(path(u"models/a.rvt"_s)), QFileInfo(path(u"models/b.rfa"_s)),
                                QFileInfo(path(u"models/c.rvt"_s))};
    panel->setSelectedFiles(earlier);
    QSignalSpy changed(panel.get(), &InputPanel::inputChanged);
    QSignalSpy listed(panel.get(), &InputPanel::multipleFilesSelected);

    QStringList absolute;
    for (const QString &relative : dropped)
        absolute.append(path(relative));
    const auto outcome = DropTesting::dragAndDrop(panel.get(), localUrls(absolute));
    QCOMPARE(outcome.entered, accepted);
    QCOMPARE(outcome.dropped, accepted);
    QVERIFY(panel->findChild<DropOverlay *>()->isHidden());

    QStringList expectedPaths;
    for (const QString &relative : expected)
        expectedPaths.append(QDir::cleanPath(path(relative)));
    QCOMPARE(changed.size(), accepted ? 1 : 0);
    QCOMPARE(listed.size(), listSignals);
    QCOMPARE(panel->isSingleFileMode(), mode == Mode::Single);
    QCOMPARE(panel->isFolderMode(), mode == Mode::Folder);
    QCOMPARE(panel->isMultipleMode(), mode == Mode::Multiple);
    switch (mode) {
    case Mode::Single: QCOMPARE(panel->filePath(), expectedPaths.value(0)); break;
    case Mode::Folder: QCOMPARE(panel->folderPath(), expectedPaths.value(0)); break;
    case Mode::Multiple:
        QCOMPARE(absolutePaths(panel->selectedFiles()), expectedPaths);
        QCOMPARE(absolutePaths(listed.at(0).at(0).value<QFileInfoList>()), expectedPaths);
        break;
    }
    if (mode != Mode::Multiple)
        QCOMPARE(panel->selectedFiles(), earlier);
}

void tst_InputPanel::overlayFollowsTheDrag_data()
{
    QTest::addColumn<QStringList>("dragged");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("pixmap");
    QTest::addRow("folder") << QStringList{u"models/a.rvt"_s, u"folder1"_s} << u"Drop folder here"_s
                            << u":/res/style/icons/folder-up.png"_s;
    QTest::addRow("files") << QStringList{u"models/a.rvt"_s, u"models/c.rvt"_s} << u"Drop file(s) here"_s
                           << u":/res/style/icons/file-up.png"_s;
}

void tst_InputPanel::overlayFollowsTheDrag()
{
    QFETCH(QStringList, dragged);
    QFETCH(QString, text);
    QFETCH(QString, pixmap);
    auto panel = makePanel();
    auto *overlay = panel->findChild<DropOverlay *>();
    QVERIFY(overlay->isHidden());

    QStringList absolute;
    for (const QString &relative : dragged)
        absolute.append(path(relative));
    QMimeData mime;
    mime.setUrls(localUrls(absolute));
    QSignalSpy changed(panel.get(), &InputPanel::inputChanged);
    QVERIFY(DropTesting::dragEnter(panel.get(), &mime));
    QVERIFY(overlay->isVisible());
    QCOMPARE(overlay->text(), text);
    QCOMPARE(overlay->pixmapPath(), pixmap);
    QCOMPARE(overlay->geometry(), panel->rect());
    DropTesting::dragLeave(panel.get());
    QVERIFY(overlay->isHidden());
    QCOMPARE(changed.size(), 0);

    // Not even considered without URLs.
    QMimeData textOnly;
    textOnly.setText(absolute.constFirst());
    QVERIFY(!DropTesting::dragEnter(panel.get(), &textOnly));
    QVERIFY(overlay->isHidden());
    DropTesting::dragLeave(panel.get());
}

void tst_InputPanel::browsingAddsWithoutDuplicatesAndDropReplaces()
{
    auto panel = makePanel();
    panel->setMultipleMode();
    const QStringList three{path(u"models/a.rvt"_s), path(u"models/b.rfa"_s), path(u"models/c.rvt"_s)};
    fakeDialogs.answer(three);
    fakeDialogs.answer({path(u"models/c.rvt"_s), path(u"models/a.rvt"_s), path(u"models/MODEL.RVT"_s)});
    QSignalSpy changed(panel.get(), &InputPanel::inputChanged);
    QSignalSpy listed(panel.get(), &InputPanel::multipleFilesSelected);

    panel->onBrowseFiles();
    QCOMPARE(absolutePaths(panel->selectedFiles()), three);
    panel->onBrowseFiles();
    QCOMPARE(absolutePaths(panel->selectedFiles()), three + QStringList{path(u"models/MODEL.RVT"_s)});
    QCOMPARE(changed.size(), 2);
    QCOMPARE(listed.size(), 2);
    QCOMPARE(listed.at(1).at(0).value<QFileInfoList>().size(), 4);
    QCOMPARE(fakeDialogs.calls().at(0).caption, u"Select Files"_s);

    // Back and forth between modes keeps the list.
    panel->setSingleFileMode();
    panel->setMultipleMode();
    QCOMPARE(panel->selectedFiles().size(), 4);

    QVERIFY(
        DropTesting::dragAndDrop(panel.get(), localUrls({path(u"models/b.rfa"_s), path(u"models/a.rvt"_s)}))
            .dropped);
    QCOMPARE(absolutePaths(panel->selectedFiles()),
             (QStringList{path(u"models/b.rfa"_s), path(u"models/a.rvt"_s)}));

    changed.clear();
    QTest::mouseClick(panel->findChild<QPushButton *>(u"clearFilesButton"_s), Qt::LeftButton);
    QVERIFY(panel->selectedFiles().isEmpty());
    QCOMPARE(changed.size(), 1);
}

void tst_InputPanel::dialogsShareTheirStartFolder()
{
    auto panel = makePanel();
    QSignalSpy changed(panel.get(), &InputPanel::inputChanged);

    fakeDialogs.answer({path(u"models/a.rvt"_s)});
    panel->onBrowseFile();
    QCOMPARE(panel->filePath(), path(u"models/a.rvt"_s));
    QCOMPARE(changed.size(), 1);

    fakeDialogs.answer({path(u"folder1"_s)});
    panel->onBrowseFolder();
    QVERIFY(panel->isFolderMode());
    QCOMPARE(panel->folderPath(), path(u"folder1"_s));
    QCOMPARE(changed.size(), 2);

    fakeDialogs.answer({path(u"folder2/../models/b.rfa"_s)});
    panel->onBrowseFiles();
    QVERIFY(panel->isMultipleMode());
    // Cancelled dialogs change nothing and announce nothing.
    const qsizetype changesBefore = changed.size();
    panel->onBrowseFile();
    panel->onBrowseFolder();
    QCOMPARE(changed.size(), changesBefore);
    QVERIFY(panel->isMultipleMode());
    QCOMPARE(panel->filePath(), path(u"models/a.rvt"_s));
    QCOMPARE(panel->folderPath(), path(u"folder1"_s));

    const QList<FakeFileDialogs::Call> calls = fakeDialogs.calls();
    QCOMPARE(calls.size(), 5);
    QCOMPARE(calls.at(0).caption, u"Select Project File"_s);
    QCOMPARE(calls.at(0).dir, QDir::currentPath());
    QCOMPARE(calls.at(0).filter, u"Revit files (*.rvt *.rfa)"_s);
    // Each dialog opens where the previous choice was made.
    QCOMPARE(calls.at(1).caption, u"Select Folder"_s);
    QCOMPARE(calls.at(1).dir, path(u"models"_s));
    QCOMPARE(calls.at(2).dir, path(u"folder1"_s));
    QCOMPARE(calls.at(3).dir, path(u"models"_s));
    QCOMPARE(settings->value(SettingsKeys::defaultInputDir()).toString(), path(u"models"_s));
}

void tst_InputPanel::recentButtonAndSummary()
{
    auto panel = makePanel();
    auto *summary = panel->findChild<QLabel *>(u"inputSummaryLabel"_s);

    auto *recent = panel->findChild<QPushButton *>(u"recentButton"_s);
    // Without a menu the button does nothing.
    QTest::mouseClick(recent, Qt::LeftButton);

    QMenu menu;
    menu.addAction(u"entry"_s);
    panel->setRecentFilesMenu(&menu);
    QTest::mouseClick(recent, Qt::LeftButton);
    QVERIFY(menu.isVisible());
    menu.hide();

    panel->setInfoText(u"<span>3 file(s)</span>"_s, Qt::RichText);
    QCOMPARE(summary->textFormat(), Qt::RichText);
    QCOMPARE(summary->text(), u"<span>3 file(s)</span>"_s);
    panel->setInfoText(u"No files selected"_s, Qt::PlainText);
    QCOMPARE(summary->textFormat(), Qt::PlainText);
}

QTEST_MAIN(tst_InputPanel)
#include "tst_inputpanel.moc"

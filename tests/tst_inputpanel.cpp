#include "common/dropoverlay.h"
#include "common/settingskeys.h"
#include "conversion/converterinfo.h"
#include "input/inputpanel.h"
#include "testsupport/droptesting.h"

#include <QPushButton>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

QStringList absolutePaths(const QFileInfoList &files)
{
    QStringList paths;
    for (const QFileInfo &file : files)
        paths.append(file.absoluteFilePath());
    return paths;
}

struct Fixture : DropTesting::PanelFixture<InputPanel>
{
    explicit Fixture(const QString &converterId = u"revit"_s)
        : PanelFixture({u"models/a.rvt"_s, u"models/b.rfa"_s, u"models/c.rvt"_s, u"models/MODEL.RVT"_s,
                        u"models/notes.txt"_s, u"folder1/"_s, u"folder2/"_s})
    {
        panel.setConverter(makeConverterInfo(converterId, true));
        // A list chosen earlier, for the cases that keep it and the one that replaces it.
        panel.setSelectedFiles({QFileInfo(path(u"models/a.rvt"_s))});
    }
};

} // namespace

class tst_InputPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneRowEnabledPerMode_data();
    void oneRowEnabledPerMode();
    void drops_data();
    void drops();
    void browsing();
};

void tst_InputPanel::oneRowEnabledPerMode_data()
{
    QTest::addColumn<InputMode>("mode");
    QTest::addRow("folder") << InputMode::Folder;
    QTest::addRow("multiple") << InputMode::MultipleFiles;
    QTest::addRow("single again") << InputMode::SingleFile;
}

void tst_InputPanel::oneRowEnabledPerMode()
{
    QFETCH(InputMode, mode);
    Fixture f;
    // Start elsewhere so that every row gets switched.
    if (mode == InputMode::SingleFile)
        f.panel.setFolderMode();
    QSignalSpy changed(&f.panel, &InputPanel::inputChanged);
    const QList<void (InputPanel::*)()> setters{&InputPanel::setSingleFileMode, &InputPanel::setFolderMode,
                                                &InputPanel::setMultipleMode};
    (f.panel.*setters.at(int(mode)))();
    QCOMPARE(changed.size(), 1);
    QCOMPARE(f.panel.selection().mode, mode);
    const QStringList rows{u"singleFileRow"_s, u"folderRow"_s, u"multipleRow"_s};
    for (int row = 0; row < rows.size(); ++row)
        QCOMPARE(f.panel.findChild<QWidget *>(rows.at(row))->isEnabled(), row == int(mode));
    // The hand-picked list survives mode switches.
    QCOMPARE(f.panel.selectedFiles().size(), 1);
}

void tst_InputPanel::drops_data()
{
    QTest::addColumn<QString>("converter");
    QTest::addColumn<QStringList>("dropped");
    QTest::addColumn<InputMode>("mode");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<QString>("hint");

    QTest::addRow("the first folder wins over files")
        << u"revit"_s << QStringList{u"models/b.rfa"_s, u"folder1"_s, u"folder2"_s} << InputMode::Folder
        << QStringList{u"folder1"_s} << u"Drop folder here"_s;
    QTest::addRow("one file, extension in capitals")
        << u"revit"_s << QStringList{u"models/MODEL.RVT"_s} << InputMode::SingleFile
        << QStringList{u"models/MODEL.RVT"_s} << u"Drop file(s) here"_s;
    QTest::addRow("unaccepted files left out")
        << u"revit"_s << QStringList{u"models/notes.txt"_s, u"models/b.rfa"_s} << InputMode::SingleFile
        << QStringList{u"models/b.rfa"_s} << u"Drop file(s) here"_s;
    QTest::addRow("several files replace the list")
        << u"revit"_s << QStringList{u"models/c.rvt"_s, u"models/b.rfa"_s} << InputMode::MultipleFiles
        << QStringList{u"models/c.rvt"_s, u"models/b.rfa"_s} << u"Drop file(s) here"_s;
    QTest::addRow("nothing the converter accepts")
        << u"ifc"_s << QStringList{u"models/a.rvt"_s, u"models/notes.txt"_s} << InputMode::SingleFile
        << QStringList{} << QString();
}

void tst_InputPanel::drops()
{
    QFETCH(QString, converter);
    QFETCH(QStringList, dropped);
    QFETCH(InputMode, mode);
    QFETCH(QStringList, expected);
    QFETCH(QString, hint);
    const bool accepted = !hint.isEmpty();
    Fixture f(converter);
    QSignalSpy changed(&f.panel, &InputPanel::inputChanged);
    QSignalSpy listed(&f.panel, &InputPanel::multipleFilesSelected);
    QMimeData mime;
    DropTesting::setPaths(mime, f.paths(dropped));

    // The hint covers the panel while the drag hovers, and goes when it leaves or drops.
    auto *overlay = f.panel.findChild<DropOverlay *>();
    QCOMPARE(DropTesting::dragEnter(&f.panel, &mime), accepted);
    QCOMPARE(overlay->isVisible() ? overlay->text() : QString(), hint);
    QVERIFY(!accepted || overlay->geometry() == f.panel.rect());
    DropTesting::dragLeave(&f.panel);
    QVERIFY(overlay->isHidden());
    QCOMPARE(DropTesting::dragAndDrop(&f.panel, &mime), accepted);
    QVERIFY(overlay->isHidden());

    const InputSelection now = f.panel.selection();
    const QStringList paths = f.paths(expected);
    const bool list = mode == InputMode::MultipleFiles;
    QCOMPARE(changed.size(), accepted ? 1 : 0);
    QCOMPARE(now.mode, mode);
    QCOMPARE(now.filePath, mode == InputMode::SingleFile ? paths.value(0) : QString());
    QCOMPARE(now.folderPath, mode == InputMode::Folder ? paths.value(0) : QString());
    QCOMPARE(absolutePaths(now.files), list ? paths : f.paths({u"models/a.rvt"_s}));
    QCOMPARE(listed.size(), list ? 1 : 0);
    QCOMPARE(absolutePaths(listed.value(0).value(0).value<QFileInfoList>()), list ? paths : QStringList());
}

void tst_InputPanel::browsing()
{
    Fixture f;
    QSignalSpy changed(&f.panel, &InputPanel::inputChanged);
    QSignalSpy listed(&f.panel, &InputPanel::multipleFilesSelected);
    const QStringList three = f.paths({u"models/a.rvt"_s, u"models/b.rfa"_s, u"models/c.rvt"_s});
    f.dialogs.setNextFileName(three.at(0));
    f.dialogs.setNextFileName(f.path(u"folder1"_s));
    f.dialogs.setNextFileNames(three);
    f.dialogs.setNextFileNames(f.paths({u"models/c.rvt"_s, u"models/MODEL.RVT"_s, u"models/a.rvt"_s}));
    for (auto browse : {&InputPanel::onBrowseFile, &InputPanel::onBrowseFolder, &InputPanel::onBrowseFiles,
                        &InputPanel::onBrowseFiles, &InputPanel::onBrowseFile, &InputPanel::onBrowseFolder})
        (f.panel.*browse)();
    // The last two dialogs were cancelled, and changed and announced nothing.
    const InputSelection now = f.panel.selection();
    QCOMPARE(now.mode, InputMode::MultipleFiles);
    QCOMPARE(now.filePath, three.at(0));
    QCOMPARE(now.folderPath, f.path(u"folder1"_s));
    // The dialog adds to the list, skipping files already on it.
    QCOMPARE(absolutePaths(now.files), three + f.paths({u"models/MODEL.RVT"_s}));
    QCOMPARE(changed.size(), 4);
    QCOMPARE(listed.size(), 2);

    // Every dialog opens where the last choice of any of them was made, also next session.
    QStringList asked;
    for (const Dialogs::Request &request : f.dialogs.requests())
        asked.append(request.text + u" in "_s + request.detail);
    const QString models = u" in "_s + f.path(u"models"_s);
    QCOMPARE(asked,
             (QStringList{u"Select Project File in "_s + QDir::currentPath(), u"Select Folder"_s + models,
                          u"Select Files in "_s + f.path(u"folder1"_s), u"Select Files"_s + models,
                          u"Select Project File"_s + models, u"Select Folder"_s + models}));
    QCOMPARE(f.dialogs.requests().at(0).filter, u"Revit files (*.rvt *.rfa)"_s);
    QCOMPARE(f.settings.value(SettingsKeys::defaultInputDir()).toString(), f.path(u"models"_s));

    QTest::mouseClick(f.panel.findChild<QPushButton *>(u"clearFilesButton"_s), Qt::LeftButton);
    QVERIFY(f.panel.selectedFiles().isEmpty());
    QCOMPARE(changed.size(), 5);
}

QTEST_MAIN(tst_InputPanel)
#include "tst_inputpanel.moc"

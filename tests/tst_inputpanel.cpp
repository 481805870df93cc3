#include "common/settingskeys.h"
#include "conversion/converterinfo.h"
#include "input/inputpanel.h"
#include "testsupport/droptesting.h"

#include <QPushButton>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

struct Fixture : DropTesting::PanelFixture<InputPanel>
{
    Fixture()
        : PanelFixture({u"models/a.rvt"_s, u"models/b.rfa"_s, u"models/c.rvt"_s, u"models/MODEL.RVT"_s,
                        u"models/notes.txt"_s, u"folder1/"_s, u"folder2/"_s})
    {
        panel.setConverter(makeRevitConverterInfo(true));
        panel.setSelectedFiles({QFileInfo(path(u"models/a.rvt"_s))}); // chosen earlier: kept or replaced
    }
    QString name(const QString &absolute) const { return QDir(path(u"."_s)).relativeFilePath(absolute); }
    // The choice (or a list announced) as "multiple, file a, folder b, list c d"; one row open.
    QString choice(QFileInfoList list = {}) const
    {
        const InputSelection s = panel.selection();
        const QString mode = QStringList{u"single"_s, u"folder"_s, u"multiple"_s}.at(int(s.mode));
        QString text = u"%1, file %2, folder %3, list"_s.arg(mode, name(s.filePath), name(s.folderPath));
        for (const QFileInfo &file : list.isEmpty() ? s.files : list)
            text += u' ' + name(file.absoluteFilePath());
        for (const QString &row : {u"singleFileRow"_s, u"folderRow"_s, u"multipleRow"_s})
            text += panel.findChild<QWidget *>(row)->isEnabled() != row.startsWith(mode) ? u" (rows amiss)"_s
                                                                                         : u""_s;
        return text;
    }
};

} // namespace

class tst_InputPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void drops_data();
    void drops();
    void browsing();
};

void tst_InputPanel::drops_data()
{
    QTest::addColumn<QStringList>("dropped");
    QTest::addColumn<QString>("hint");
    QTest::addColumn<QString>("choice");
    QTest::addRow("the first folder wins over files")
        << QStringList{u"models/b.rfa"_s, u"folder1"_s, u"folder2"_s} << u"Drop folder here"_s
        << u"folder, file , folder folder1, list models/a.rvt"_s;
    QTest::addRow("one file, extension in capitals")
        << QStringList{u"models/MODEL.RVT"_s} << u"Drop file(s) here"_s
        << u"single, file models/MODEL.RVT, folder , list models/a.rvt"_s;
    QTest::addRow("several files replace the list (the dialog adds to it)")
        << QStringList{u"models/c.rvt"_s, u"models/b.rfa"_s} << u"Drop file(s) here"_s
        << u"multiple, file , folder , list models/c.rvt models/b.rfa"_s;
    QTest::addRow("nothing the converter accepts")
        << QStringList{u"models/notes.txt"_s, u"models/gone.rvt"_s} << QString()
        << u"single, file , folder , list models/a.rvt"_s;
}

void tst_InputPanel::drops()
{
    QFETCH(QStringList, dropped);
    QFETCH(QString, hint);
    QFETCH(QString, choice);
    Fixture f;
    QSignalSpy changed(&f.panel, &InputPanel::inputChanged);
    QSignalSpy listed(&f.panel, &InputPanel::multipleFilesSelected);
    QCOMPARE(f.dragAndDrop(&f.panel, dropped), hint);
    QCOMPARE(f.choice(), choice);
    QCOMPARE(changed.size(), hint.isEmpty() ? 0 : 1);
    QCOMPARE(listed.isEmpty() ? QString() : f.choice(listed.takeFirst().first().value<QFileInfoList>()),
             choice.startsWith(u"multiple") ? choice : QString());
}

void tst_InputPanel::browsing()
{
    Fixture f;
    QSignalSpy changed(&f.panel, &InputPanel::inputChanged);
    QSignalSpy listed(&f.panel, &InputPanel::multipleFilesSelected);
    f.settings.setValue(SettingsKeys::defaultInputDir(), f.path(u"folder2"_s)); // from an earlier session
    f.dialogs.setNextFileName(f.path(u"models/a.rvt"_s));
    f.dialogs.setNextFileName(f.path(u"folder1"_s));
    f.dialogs.setNextFileNames({f.path(u"models/b.rfa"_s), f.path(u"models/c.rvt"_s)});
    f.dialogs.setNextFileNames({f.path(u"models/c.rvt"_s), f.path(u"models/MODEL.RVT"_s)});
    for (auto browse : {&InputPanel::onBrowseFile, &InputPanel::onBrowseFolder, &InputPanel::onBrowseFiles,
                        &InputPanel::onBrowseFiles, &InputPanel::onBrowseFile, &InputPanel::onBrowseFolder})
        (f.panel.*browse)();
    // The dialog adds to the list, skipping files already on it; the last two dialogs were
    // cancelled, and changed and announced nothing.
    QCOMPARE(f.choice(), u"multiple, file models/a.rvt, folder folder1, list models/a.rvt models/b.rfa "
                         "models/c.rvt models/MODEL.RVT"_s);
    // Every dialog opens where the last choice of any of them was made, which is kept.
    QStringList asked;
    for (const Dialogs::Request &request : f.dialogs.requests())
        asked.append(request.text + u" in "_s + f.name(request.detail));
    QCOMPARE(asked.join(u", "_s),
             u"Select Project File in folder2, Select Folder in models, Select Files in folder1, "
             "Select Files in models, Select Project File in models, Select Folder in models"_s);
    QCOMPARE(f.settings.value(SettingsKeys::defaultInputDir()).toString(), f.path(u"models"_s));

    QTest::mouseClick(f.panel.findChild<QPushButton *>(u"clearFilesButton"_s), Qt::LeftButton);
    QCOMPARE(f.choice(), u"multiple, file models/a.rvt, folder folder1, list"_s);
    // Four changes from the dialogs answered and one from the clearing; two lists from the dialogs.
    QCOMPARE(QList({changed.size(), listed.size()}), QList<qsizetype>({5, 2}));
}

QTEST_MAIN(tst_InputPanel)
#include "tst_inputpanel.moc"

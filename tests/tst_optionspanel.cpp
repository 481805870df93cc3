#include "common/dropoverlay.h"
#include "conversion/converterinfo.h"
#include "options/optionspanel.h"
#include "testsupport/droptesting.h"
#include "testsupport/fakefiledialogs.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using DropTesting::localUrls;

namespace {

const QString exactPathText = u"Use exact output path (no timestamp suffix)"_s;
const QString extendedParentsName = u"checkExtendedParents"_s;

} // namespace

class tst_OptionsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void buildsFromTheConverter_data();
    void buildsFromTheConverter();
    void fullDumpForcesExtendedParents_data();
    void fullDumpForcesExtendedParents();
    void customRadioControlsItsRow_data();
    void customRadioControlsItsRow();
    void categoryFileDrops_data();
    void categoryFileDrops();
    void browsingForTheCategoryFile();
    void rebuildForgetsThePreviousConverter();

private:
    static std::unique_ptr<OptionsPanel> makePanel(const ConverterInfo &info)
    {
        auto panel = std::make_unique<OptionsPanel>();
        panel->setConverter(info);
        panel->resize(460, 420);
        panel->show();
        return panel;
    }
    static QStringList texts(const QList<QRadioButton *> &radios)
    {
        QStringList result;
        for (const QRadioButton *radio : radios)
            result.append(radio->text());
        return result;
    }
    static QStringList texts(const QList<QCheckBox *> &boxes)
    {
        QStringList result;
        for (const QCheckBox *box : boxes)
            result.append(box->text());
        return result;
    }
    static void clickMode(OptionsPanel &panel, const QString &mode)
    {
        auto *radio = panel.findChild<QRadioButton *>(u"modeRadio_"_s + mode);
        QVERIFY2(radio, qPrintable(mode));
        QTest::mouseClick(radio, Qt::LeftButton, {}, QPoint(5, radio->height() / 2));
    }
};

void tst_OptionsPanel::buildsFromTheConverter_data()
{
    QTest::addColumn<ConverterInfo>("info");
    QTest::addColumn<QStringList>("modeTexts");
    QTest::addColumn<QString>("checkedMode");
    QTest::addColumn<QString>("note");
    QTest::addColumn<QStringList>("optionTexts");

    QTest::addRow("revit")
        << makeRevitConverterInfo(true)
        << QStringList{u"Basic - 309 Revit Categories (Fast)"_s,
                       u"Standard - 724 Revit Categories (Moderate)"_s,
                       u"Full Dump - All 1209 Revit Categories (Slow)"_s, u"Custom"_s}
        << u"standard"_s
        << u"Description of options in ReadMe\nCategory descriptions in \"List of Revit categories KVT.txt\""_s
        << QStringList{u"Add BBox geometry information"_s,
                       u"Add ToRoom/FromRoom data"_s,
                       u"Include View Mapping (may slow large files)"_s,
                       u"Include Extended Parent Parameters"_s,
                       u"Export all Schedules"_s,
                       u"Export all Sheets to PDF"_s,
                       exactPathText};
    QTest::addRow("rvt2ifc") << makeRvt2IfcConverterInfo(true)
                             << QStringList{u"Standard"_s, u"Extended"_s, u"Custom"_s} << u"standard"_s
                             << u"Description of options in ReadMe\n"_s << QStringList{exactPathText};
    QTest::addRow("ifc: no modes at all")
        << makeIfcConverterInfo(true) << QStringList{} << QString() << u"Description of options in ReadMe\n"_s
        << QStringList{u"Add BBox geometry information"_s, exactPathText};
}

void tst_OptionsPanel::buildsFromTheConverter()
{
    QFETCH(ConverterInfo, info);
    QFETCH(QStringList, modeTexts);
    QFETCH(QString, checkedMode);
    QFETCH(QString, note);
    QFETCH(QStringList, optionTexts);

    auto panel = makePanel(info);
    auto *modeGroup = panel->findChild<QGroupBox *>(u"exportModeGroup"_s);
    QCOMPARE(texts(modeGroup->findChildren<QRadioButton *>()), modeTexts);
    QCOMPARE(modeGroup->isVisible(), !modeTexts.isEmpty());
    QCOMPARE(panel->exportMode(), checkedMode);
    auto *noteLabel = panel->findChild<QLabel *>(u"optionsNoteLabel"_s);
    QCOMPARE(noteLabel->text(), note);

    const QList<QCheckBox *> boxes =
        panel->findChild<QGroupBox *>(u"optionsGroup"_s)->findChildren<QCheckBox *>();
    QCOMPARE(texts(boxes), optionTexts);
    for (const QCheckBox *box : boxes) {
        QVERIFY(!box->isChecked());
        QVERIFY(!box->toolTip().isEmpty());
    }
}

void tst_OptionsPanel::fullDumpForcesExtendedParents_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<bool>("checked");
    QTest::addColumn<bool>("enabled");

    QTest::addRow("Full Dump forces it on") << QStringList{u"complete"_s} << true << false;
    QTest::addRow("leaving gives back unchecked") << QStringList{u"complete"_s, u"basic"_s} << false << true;
    QTest::addRow("leaving gives back checked")
        << QStringList{u"tick"_s, u"complete"_s, u"basic"_s} << true << true;
    // The rule runs on every click, so a second click on Full Dump stores the forced state.
    QTest::addRow("second click on Full Dump keeps it on afterwards")
        << QStringList{u"complete"_s, u"complete"_s, u"basic"_s} << true << true;
    QTest::addRow("other modes leave the choice alone")
        << QStringList{u"tick"_s, u"basic"_s, u"standard"_s} << true << true;
    QTest::addRow("a later click by the user is the new choice")
        << QStringList{u"complete"_s, u"complete"_s, u"basic"_s, u"tick"_s, u"standard"_s} << false << true;
    QTest::addRow("custom counts as leaving") << QStringList{u"complete"_s, u"custom"_s} << false << true;
}

void tst_OptionsPanel::fullDumpForcesExtendedParents()
{
    QFETCH(QStringList, steps);
    QFETCH(bool, checked);
    QFETCH(bool, enabled);

    auto panel = makePanel(makeRevitConverterInfo(true));
    auto *box = panel->findChild<QCheckBox *>(extendedParentsName);
    QSignalSpy changed(panel.get(), &OptionsPanel::optionsChanged);
    for (const QString &step : steps) {
        const qsizetype before = changed.size();
        if (step == u"tick") {
            QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(5, box->height() / 2));
        } else {
            clickMode(*panel, step);
            QCOMPARE(panel->exportMode(), step);
        }
        QVERIFY(changed.size() > before);
    }
    QCOMPARE(box->isChecked(), checked);
    QCOMPARE(box->isEnabled(), enabled);
    QCOMPARE(panel->includeExtendedParents(), checked);
}

void tst_OptionsPanel::customRadioControlsItsRow_data()
{
    QTest::addColumn<ConverterInfo>("info");
    QTest::addColumn<bool>("enabledAtStart");
    QTest::addColumn<QString>("otherMode");
    QTest::addRow("revit") << makeRevitConverterInfo(true) << false << u"basic"_s;
    // The IFC configuration is editable until Custom is first toggled.
    QTest::addRow("rvt2ifc") << makeRvt2IfcConverterInfo(true) << true << u"extended"_s;
}

void tst_OptionsPanel::customRadioControlsItsRow()
{
    QFETCH(ConverterInfo, info);
    QFETCH(bool, enabledAtStart);
    QFETCH(QString, otherMode);

    auto panel = makePanel(info);
    const bool revit = info.id == u"revit";
    auto *edit = panel->findChild<QLineEdit *>(u"customEdit"_s);
    auto *browse = panel->findChild<QPushButton *>(u"customBrowseButton"_s);
    QCOMPARE(browse != nullptr, revit);
    QCOMPARE(edit->isEnabled(), enabledAtStart);
    QCOMPARE(edit->isReadOnly(), revit);
    if (revit) {
        QVERIFY(!browse->isEnabled());
        QCOMPARE(edit->text(), QDir(QCoreApplication::applicationDirPath())
                                   .filePath(u"kavantolibs/KVT_Custom_Categories_to_Convert.txt"_s));
        QCOMPARE(panel->customCategoriesFile(), edit->text());
        QCOMPARE(panel->ifcExportConfig(), QString());
    } else {
        QCOMPARE(edit->text(), u"FileVersion=\"ifc4x3\"; FileType=\"ifc\"; LevelOfDetail=\"medium\"; "
                               u"SpaceBound=\"2ndlevel\"; ProjOrigin=\"currentshared\""_s);
        QCOMPARE(panel->ifcExportConfig(), edit->text());
        QCOMPARE(panel->customCategoriesFile(), QString());
    }

    clickMode(*panel, u"custom"_s);
    QCOMPARE(panel->exportMode(), u"custom"_s);
    QVERIFY(edit->isEnabled());
    if (browse)
        QVERIFY(browse->isEnabled());

    clickMode(*panel, otherMode);
    QVERIFY(!edit->isEnabled());
    if (browse)
        QVERIFY(!browse->isEnabled());
    // The text is reported whatever mode is chosen.
    QCOMPARE(revit ? panel->customCategoriesFile() : panel->ifcExportConfig(), edit->text());
}

void tst_OptionsPanel::categoryFileDrops_data()
{
    QTest::addColumn<ConverterInfo>("info");
    QTest::addColumn<QStringList>("dropped");
    QTest::addColumn<bool>("accepted");

    QTest::addRow("CATS.TXT") << makeRevitConverterInfo(true) << QStringList{u"CATS.TXT"_s} << true;
    QTest::addRow("two .txt files") << makeRevitConverterInfo(true)
                                    << QStringList{u"cats.txt"_s, u"CATS.TXT"_s} << false;
    QTest::addRow("a.csv") << makeRevitConverterInfo(true) << QStringList{u"a.csv"_s} << false;
    ConverterInfo noCustom = makeRevitConverterInfo(true);
    noCustom.modes.removeAll(u"custom"_s);
    QTest::addRow("Revit without a custom mode") << noCustom << QStringList{u"cats.txt"_s} << false;
    QTest::addRow("not the Revit converter")
        << makeRvt2IfcConverterInfo(true) << QStringList{u"cats.txt"_s} << false;
}

void tst_OptionsPanel::categoryFileDrops()
{
    QFETCH(ConverterInfo, info);
    QFETCH(QStringList, dropped);
    QFETCH(bool, accepted);

    QTemporaryDir dir;
    QStringList absolute;
    for (const QString &name : dropped) {
        QVERIFY(DropTesting::writeFile(dir.filePath(name)));
        absolute.append(dir.filePath(name));
    }
    auto panel = makePanel(info);
    auto *group = panel->findChild<QGroupBox *>(u"exportModeGroup"_s);
    auto *edit = panel->findChild<QLineEdit *>(u"customEdit"_s);
    const QString textBefore = edit ? edit->text() : QString();
    const QString modeBefore = panel->exportMode();
    QSignalSpy changed(panel.get(), &OptionsPanel::optionsChanged);

    QMimeData mime;
    mime.setUrls(localUrls(absolute));
    QCOMPARE(DropTesting::dragEnter(group, &mime), accepted);
    auto *overlay = group->findChild<DropOverlay *>();
    QCOMPARE(overlay != nullptr && overlay->isVisible(), accepted);
    if (accepted) {
        QCOMPARE(overlay->text(), u"Drop .txt category file here"_s);
        QCOMPARE(overlay->pixmapPath(), u":/res/style/icons/file-up.png"_s);
        QCOMPARE(overlay->geometry(), group->rect());
    }
    DropTesting::dragLeave(group);
    if (overlay)
        QVERIFY(overlay->isHidden());

    const auto outcome = DropTesting::dragAndDrop(group, &mime);
    QCOMPARE(outcome.dropped, accepted);
    if (accepted) {
        QVERIFY(overlay->isHidden());
        QCOMPARE(edit->text(), QDir::toNativeSeparators(absolute.constFirst()));
        QCOMPARE(panel->exportMode(), u"custom"_s);
        QVERIFY(edit->isEnabled());
        QVERIFY(panel->findChild<QPushButton *>(u"customBrowseButton"_s)->isEnabled());
    } else {
        if (edit)
            QCOMPARE(edit->text(), textBefore);
        QCOMPARE(panel->exportMode(), modeBefore);
    }
    // A mode chosen by the program is not the user's click.
    QCOMPARE(changed.size(), 0);
}

void tst_OptionsPanel::browsingForTheCategoryFile()
{
    auto panel = makePanel(makeRevitConverterInfo(true));
    FakeFileDialogs dialogs;
    panel->setFileDialogs(dialogs.dialogs());
    auto *edit = panel->findChild<QLineEdit *>(u"customEdit"_s);
    auto *browse = panel->findChild<QPushButton *>(u"customBrowseButton"_s);
    const QString start = edit->text();
    clickMode(*panel, u"custom"_s);

    dialogs.answer({});
    QTest::mouseClick(browse, Qt::LeftButton);
    QCOMPARE(edit->text(), start);
    dialogs.answer({u"/data/my categories.txt"_s});
    QTest::mouseClick(browse, Qt::LeftButton);
    QCOMPARE(edit->text(), u"/data/my categories.txt"_s);
    QCOMPARE(panel->customCategoriesFile(), u"/data/my categories.txt"_s);

    const auto calls = dialogs.calls();
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.at(0).caption, u"Select .txt File"_s);
    QCOMPARE(calls.at(0).dir, start);
    QCOMPARE(calls.at(0).filter, u"Text Files (*.txt)"_s);
}

void tst_OptionsPanel::rebuildForgetsThePreviousConverter()
{
    auto panel = makePanel(makeRevitConverterInfo(true));
    clickMode(*panel, u"complete"_s);
    panel->findChild<QCheckBox *>(u"checkBoundingBox"_s)->setChecked(true);

    panel->setConverter(makeRvt2IfcConverterInfo(true));
    QCOMPARE(panel->findChildren<QRadioButton *>().size(), 3);
    QVERIFY(!panel->findChild<QCheckBox *>(extendedParentsName));
    QVERIFY(!panel->findChild<DropOverlay *>());

    panel->setConverter(makeRevitConverterInfo(true));
    QCOMPARE(panel->exportMode(), u"standard"_s);
    QVERIFY(!panel->addBoundingBox());
    auto *box = panel->findChild<QCheckBox *>(extendedParentsName);
    QVERIFY(box->isEnabled() && !box->isChecked());
    clickMode(*panel, u"basic"_s);
    QVERIFY(!box->isChecked());
}

QTEST_MAIN(tst_OptionsPanel)
#include "tst_optionspanel.moc"

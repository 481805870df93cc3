#include "common/dropoverlay.h"
#include "conversion/converterinfo.h"
#include "options/optionspanel.h"
#include "testsupport/droptesting.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

struct Fixture
{
    Dialogs dialogs;
    OptionsPanel panel{&dialogs};

    explicit Fixture(const ConverterInfo &info)
    {
        dialogs.setScripted();
        panel.setConverter(info);
        panel.show();
    }
    void click(const QString &name)
    {
        auto *button = panel.findChild<QAbstractButton *>(name);
        QVERIFY2(button, qPrintable(name));
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(5, button->height() / 2));
    }
};

} // namespace

class tst_OptionsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fullDumpForcesExtendedParents_data();
    void fullDumpForcesExtendedParents();
    void categoryFileDrops_data();
    void categoryFileDrops();
    void browsingForTheCategoryFile();
};

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
    // Only the mode rule stores the choice; a click on the box itself is undone by the next mode click.
    QTest::addRow("tick in Standard, click Basic")
        << QStringList{u"tick"_s, u"basic"_s} << false << true;
    QTest::addRow("a click on the box is not stored")
        << QStringList{u"complete"_s, u"complete"_s, u"basic"_s, u"tick"_s, u"standard"_s} << true << true;
    QTest::addRow("custom counts as leaving") << QStringList{u"complete"_s, u"custom"_s} << false << true;
}

void tst_OptionsPanel::fullDumpForcesExtendedParents()
{
    QFETCH(QStringList, steps);
    QFETCH(bool, checked);
    QFETCH(bool, enabled);
    Fixture f(makeRevitConverterInfo(true));
    QSignalSpy changed(&f.panel, &OptionsPanel::optionsChanged);
    for (const QString &step : steps) {
        const qsizetype before = changed.size();
        f.click(step == u"tick" ? u"checkExtendedParents"_s : u"modeRadio_"_s + step);
        if (step != u"tick")
            QCOMPARE(f.panel.exportMode(), step);
        QVERIFY(changed.size() > before);
    }
    auto *box = f.panel.findChild<QCheckBox *>(u"checkExtendedParents"_s);
    QCOMPARE(box->isChecked(), checked);
    QCOMPARE(box->isEnabled(), enabled);
    QCOMPARE(f.panel.includeExtendedParents(), checked);
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
    DropTesting::Folder dir;
    for (const QString &path : dir.paths(dropped))
        QVERIFY(DropTesting::writeFile(path));
    QMimeData mime;
    DropTesting::setPaths(mime, dir.paths(dropped));
    Fixture f(info);
    QSignalSpy changed(&f.panel, &OptionsPanel::optionsChanged);

    auto *group = f.panel.findChild<QGroupBox *>(u"exportModeGroup"_s);
    auto *overlay = group->findChild<DropOverlay *>();
    QCOMPARE(DropTesting::dragEnter(group, &mime), accepted);
    QCOMPARE(overlay && overlay->isVisible() ? overlay->text() : QString(),
             accepted ? u"Drop .txt category file here"_s : QString());
    QCOMPARE(DropTesting::dragAndDrop(group, &mime), accepted);
    // A dropped file selects Custom, ready to browse for another.
    QCOMPARE(f.panel.exportMode(), accepted ? u"custom"_s : info.defaultMode);
    QCOMPARE(f.panel.customCategoriesFile() == QDir::toNativeSeparators(dir.path(dropped.at(0))), accepted);
    // A mode chosen by the program is not the user's click.
    QCOMPARE(changed.size(), 0);
}

void tst_OptionsPanel::browsingForTheCategoryFile()
{
    Fixture f(makeRevitConverterInfo(true));
    auto *edit = f.panel.findChild<QLineEdit *>(u"customEdit"_s);
    auto *browse = f.panel.findChild<QPushButton *>(u"customBrowseButton"_s);
    const QString start = edit->text();
    f.dialogs.setNextFileNames({});
    f.dialogs.setNextFileName(u"/data/my categories.txt"_s);
    f.click(u"modeRadio_custom"_s);
    f.click(u"customBrowseButton"_s);
    QCOMPARE(edit->text(), start);
    f.click(u"customBrowseButton"_s);
    QCOMPARE(f.panel.customCategoriesFile(), u"/data/my categories.txt"_s);
    const QList<Dialogs::Request> asked = f.dialogs.requestsOf(Dialogs::Kind::OpenFile);
    QCOMPARE(asked.size(), 2);
    QCOMPARE(asked.at(0).text, u"Select .txt File"_s);
    QCOMPARE(asked.at(0).detail, start);
    QCOMPARE(asked.at(0).filter, u"Text Files (*.txt)"_s);

    // The row follows its radio; the chosen file is still the one reported.
    f.click(u"modeRadio_basic"_s);
    QVERIFY(!edit->isEnabled() && !browse->isEnabled());
    QCOMPARE(f.panel.customCategoriesFile(), u"/data/my categories.txt"_s);

    // A rebuild starts from the converter's defaults, forgetting even the choice Full Dump stored.
    f.click(u"checkExtendedParents"_s);
    f.click(u"modeRadio_complete"_s);
    f.panel.setConverter(makeRevitConverterInfo(true));
    QCOMPARE(f.panel.exportMode(), u"standard"_s);
    QCOMPARE(f.panel.customCategoriesFile(), start);
    f.click(u"modeRadio_basic"_s);
    QVERIFY(!f.panel.includeExtendedParents());
}

QTEST_MAIN(tst_OptionsPanel)
#include "tst_optionspanel.moc"

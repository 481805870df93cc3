#include "conversion/converterinfo.h"
#include "options/optionspanel.h"
#include "testsupport/droptesting.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QSignalSpy>

#include <memory>

using namespace Qt::StringLiterals;

class tst_OptionsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void fullDumpForcesExtendedParents_data();
    void fullDumpForcesExtendedParents();
    void categoryFile();

private:
    void click(const QString &name) { panel->findChild<QAbstractButton *>(name)->click(); }
    QString choice() const { return panel->exportMode() + u", "_s + panel->customCategoriesFile(); }

    Dialogs dialogs;
    std::unique_ptr<OptionsPanel> panel;
};

void tst_OptionsPanel::init()
{
    dialogs.setScripted();
    panel = std::make_unique<OptionsPanel>(&dialogs);
    panel->setConverter(makeRevitConverterInfo(true));
    panel->show();
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
    // Only the mode rule stores the choice; a click on the box itself is undone by the next mode click.
    QTest::addRow("tick in Standard, click Basic") << QStringList{u"tick"_s, u"basic"_s} << false << true;
    QTest::addRow("a click on the box is not stored")
        << QStringList{u"complete"_s, u"complete"_s, u"basic"_s, u"tick"_s, u"standard"_s} << true << true;
    QTest::addRow("custom counts as leaving") << QStringList{u"complete"_s, u"custom"_s} << false << true;
}

void tst_OptionsPanel::fullDumpForcesExtendedParents()
{
    QFETCH(QStringList, steps);
    QFETCH(bool, checked);
    QFETCH(bool, enabled);
    for (const QString &step : steps) {
        QSignalSpy changed(panel.get(), &OptionsPanel::optionsChanged);
        click(step == u"tick" ? u"checkExtendedParents"_s : u"modeRadio_"_s + step);
        QVERIFY(!changed.isEmpty() && (step == u"tick" || panel->exportMode() == step));
    }
    auto *box = panel->findChild<QCheckBox *>(u"checkExtendedParents"_s);
    QCOMPARE(QList({box->isChecked(), box->isEnabled(), panel->includeExtendedParents()}),
             QList({checked, enabled, checked}));
}

void tst_OptionsPanel::categoryFile()
{
    const DropTesting::Folder dir;
    const auto group = [this] { return panel->findChild<QGroupBox *>(u"exportModeGroup"_s); };
    const QString start = choice();
    const QString dropped = QDir::toNativeSeparators(dir.path(u"CATS.TXT"_s));
    QSignalSpy changed(panel.get(), &OptionsPanel::optionsChanged);
    // One .txt file at a time; it selects Custom, ready to browse for another, and a mode chosen
    // by the program is not the user's click.
    QCOMPARE(dir.dragAndDrop(group(), {u"cats.txt"_s, u"CATS.TXT"_s}) +
                 dir.dragAndDrop(group(), {u"a.csv"_s}),
             QString());
    QCOMPARE(dir.dragAndDrop(group(), {u"CATS.TXT"_s}), u"Drop .txt category file here"_s);
    QCOMPARE(choice() + u' ' + QString::number(changed.size()), u"custom, "_s + dropped + u" 0"_s);
    // A cancelled dialog keeps the file; the next opens at it, offers text files, and is heard.
    dialogs.setNextFileNames({});
    dialogs.setNextFileName(u"/data/my categories.txt"_s);
    click(u"customBrowseButton"_s);
    click(u"customBrowseButton"_s);
    const Dialogs::Request asked = dialogs.requestsOf(Dialogs::Kind::OpenFile).constLast();
    QCOMPARE(asked.detail + u", "_s + asked.filter + u" -> "_s + choice(),
             dropped + u", Text Files (*.txt) -> custom, /data/my categories.txt"_s);
    // The row follows its radio; the chosen file is still the one reported.
    click(u"modeRadio_basic"_s);
    QCOMPARE(choice() + u' ' + QString::number(panel->findChild<QLineEdit *>(u"customEdit"_s)->isEnabled()),
             u"basic, /data/my categories.txt 0"_s);
    // Only a Revit converter's custom row takes the file; a rebuild starts from the defaults.
    ConverterInfo noCustom = makeRevitConverterInfo(true);
    noCustom.modes.removeAll(u"custom"_s);
    for (const ConverterInfo &info : {noCustom, makeRvt2IfcConverterInfo(true)}) {
        panel->setConverter(info);
        QCOMPARE(dir.dragAndDrop(group(), {u"cats.txt"_s}), QString());
    }
    panel->setConverter(makeRevitConverterInfo(true));
    QCOMPARE(choice(), start);
}

QTEST_MAIN(tst_OptionsPanel)
#include "tst_optionspanel.moc"

#include "common/dropoverlay.h"
#include "common/settingskeys.h"
#include "options/outputpanel.h"
#include "testsupport/droptesting.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace {

struct Fixture : DropTesting::PanelFixture<OutputPanel>
{
    Fixture()
        : PanelFixture({u"out1/"_s, u"out2/"_s, u"model.rvt"_s})
    {
    }
    QCheckBox *sameAsProject = panel.findChild<QCheckBox *>(u"sameAsProjectCheck"_s);
};

} // namespace

class tst_OutputPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void browsingAndSameAsProject();
    void drops_data();
    void drops();
};

void tst_OutputPanel::browsingAndSameAsProject()
{
    Fixture f;
    auto *edit = f.panel.findChild<QLineEdit *>(u"outputEdit"_s);
    auto *browse = f.panel.findChild<QPushButton *>(u"browseOutputButton"_s);
    QSignalSpy changed(&f.panel, &OutputPanel::outputChanged);
    f.dialogs.setNextFileNames({});
    f.dialogs.setNextFileName(f.path(u"out1"_s) + u"/../out2"_s);
    // The first dialog is cancelled and changes nothing; the third opens where the second chose.
    for (int i = 0; i < 3; ++i)
        QTest::mouseClick(browse, Qt::LeftButton);
    QCOMPARE(f.panel.outputDir(), f.path(u"out2"_s));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(f.settings.value(SettingsKeys::defaultOutputDir()).toString(), f.path(u"out2"_s));
    const QList<Dialogs::Request> asked = f.dialogs.requestsOf(Dialogs::Kind::Folder);
    QCOMPARE(asked.size(), 3);
    QCOMPARE(asked.at(1).detail, QDir::currentPath());
    QCOMPARE(asked.at(2).detail, f.path(u"out2"_s));

    // Results beside the project files: the folder is hidden, and comes back on unchecking.
    QTest::mouseClick(f.sameAsProject, Qt::LeftButton);
    QCOMPARE(f.panel.outputDir(), QString());
    QCOMPARE(edit->text(), QString());
    QCOMPARE(edit->placeholderText(), u"Same as project folder"_s);
    QVERIFY(!edit->isEnabled() && !browse->isEnabled());
    QTest::mouseClick(f.sameAsProject, Qt::LeftButton);
    QCOMPARE(f.panel.outputDir(), f.path(u"out2"_s));
    QVERIFY(edit->isEnabled() && browse->isEnabled());
    QCOMPARE(changed.size(), 3);
}

void tst_OutputPanel::drops_data()
{
    QTest::addColumn<bool>("sameAsProjectFirst");
    QTest::addColumn<QStringList>("dropped");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("signals");

    QTest::addRow("the first of several folders")
        << false << QStringList{u"model.rvt"_s, u"out2"_s, u"out1"_s} << u"out2"_s << 1;
    // Unchecking announces itself, then the new folder does.
    QTest::addRow("a folder unchecks same-as-project") << true << QStringList{u"out1"_s} << u"out1"_s << 2;
    QTest::addRow("a file leaves same-as-project on")
        << true << QStringList{u"model.rvt"_s} << QString() << 0;
}

void tst_OutputPanel::drops()
{
    QFETCH(bool, sameAsProjectFirst);
    QFETCH(QStringList, dropped);
    QFETCH(QString, expected);
    QFETCH(int, signals);
    const bool accepted = !expected.isEmpty();
    Fixture f;
    f.panel.setOutputDir(u"/previous"_s);
    f.sameAsProject->setChecked(sameAsProjectFirst);
    QSignalSpy changed(&f.panel, &OutputPanel::outputChanged);
    QMimeData mime;
    DropTesting::setPaths(mime, f.paths(dropped));

    auto *overlay = f.panel.findChild<DropOverlay *>();
    QCOMPARE(DropTesting::dragEnter(&f.panel, &mime), accepted);
    QCOMPARE(overlay->isVisible() ? overlay->text() : QString(),
             accepted ? u"Drop folder here"_s : QString());
    QCOMPARE(DropTesting::dragAndDrop(&f.panel, &mime), accepted);
    QCOMPARE(changed.size(), signals);
    QCOMPARE(f.panel.isSameAsProject(), sameAsProjectFirst && !accepted);
    // The dropped folder is the one a later same-as-project round trip gives back.
    f.sameAsProject->setChecked(true);
    f.sameAsProject->setChecked(false);
    QCOMPARE(f.panel.outputDir(), accepted ? f.path(expected) : u"/previous"_s);
    // Dropping never moves the dialog's start folder.
    QVERIFY(!f.settings.contains(SettingsKeys::defaultOutputDir()));
}

QTEST_MAIN(tst_OutputPanel)
#include "tst_outputpanel.moc"

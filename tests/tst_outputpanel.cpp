#include "common/settingskeys.h"
#include "options/outputpanel.h"
#include "testsupport/droptesting.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

class tst_OutputPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void browsingDropsAndSameAsProject();
};

void tst_OutputPanel::browsingDropsAndSameAsProject()
{
    DropTesting::PanelFixture<OutputPanel> f({u"out1/"_s, u"out2/"_s, u"model.rvt"_s});
    auto *edit = f.panel.findChild<QLineEdit *>(u"outputEdit"_s);
    auto *browse = f.panel.findChild<QPushButton *>(u"browseOutputButton"_s);
    auto *sameAsProject = f.panel.findChild<QCheckBox *>(u"sameAsProjectCheck"_s);
    QSignalSpy changed(&f.panel, &OutputPanel::outputChanged);
    f.dialogs.setNextFileNames({});
    f.dialogs.setNextFileName(f.path(u"out1"_s) + u"/../out2"_s);
    // The first dialog is cancelled and changes nothing; the third opens where the second chose,
    // which is kept for next time.
    for (int i = 0; i < 3; ++i)
        QTest::mouseClick(browse, Qt::LeftButton);
    QCOMPARE(f.panel.outputDir(), f.path(u"out2"_s));
    const QList<Dialogs::Request> asked = f.dialogs.requestsOf(Dialogs::Kind::Folder);
    QCOMPARE(asked.at(1).detail + u", "_s + asked.at(2).detail,
             QDir::currentPath() + u", "_s + f.path(u"out2"_s));
    QCOMPARE(changed.size(), 1);

    // Results beside the project files: the folder row is emptied and locked.
    QTest::mouseClick(sameAsProject, Qt::LeftButton);
    QCOMPARE(f.panel.outputDir() + edit->text() + u'|' + edit->placeholderText(),
             u"|Same as project folder"_s);
    QVERIFY(!edit->isEnabled() && !browse->isEnabled());
    // A file dropped now is refused; the first of several folders is taken and unchecks it
    // (announced, then the folder is).
    QCOMPARE(f.dragAndDrop(&f.panel, {u"model.rvt"_s}), QString());
    QVERIFY(f.panel.isSameAsProject());
    QCOMPARE(f.dragAndDrop(&f.panel, {u"model.rvt"_s, u"out1"_s, u"out2"_s}), u"Drop folder here"_s);
    QCOMPARE(f.panel.outputDir(), f.path(u"out1"_s));
    QVERIFY(edit->isEnabled() && browse->isEnabled());
    QCOMPARE(changed.size(), 4);
    // The dropped folder is the one a later round trip gives back; the dialog still starts where
    // it last chose.
    QTest::mouseClick(sameAsProject, Qt::LeftButton);
    QTest::mouseClick(sameAsProject, Qt::LeftButton);
    QCOMPARE(f.panel.outputDir(), f.path(u"out1"_s));
    QCOMPARE(f.settings.value(SettingsKeys::defaultOutputDir()).toString(), f.path(u"out2"_s));
    QCOMPARE(changed.size(), 6);
}

QTEST_MAIN(tst_OutputPanel)
#include "tst_outputpanel.moc"

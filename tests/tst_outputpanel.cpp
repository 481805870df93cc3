#include "common/dropoverlay.h"
#include "common/settingskeys.h"
#include "options/outputpanel.h"
#include "testsupport/droptesting.h"
#include "testsupport/fakefiledialogs.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using DropTesting::localUrls;

class tst_OutputPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void sameAsProjectHidesAndRestoresTheFolder();
    void drops_data();
    void drops();
    void browsingRemembersTheFolder();

private:
    QString path(const QString &relative) const { return QDir::cleanPath(dir->filePath(relative)); }
    std::unique_ptr<OutputPanel> makePanel();

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<QSettings> settings;
    FakeFileDialogs fakeDialogs;
};

void tst_OutputPanel::init()
{
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    settings = std::make_unique<QSettings>(dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
    fakeDialogs = FakeFileDialogs();
    QVERIFY(QDir().mkpath(path(u"out1"_s)));
    QVERIFY(QDir().mkpath(path(u"out2"_s)));
    QVERIFY(DropTesting::writeFile(path(u"model.rvt"_s)));
}

void tst_OutputPanel::cleanup()
{
    settings.reset();
    dir.reset();
}

std::unique_ptr<OutputPanel> tst_OutputPanel::makePanel()
{
    auto panel = std::make_unique<OutputPanel>(settings.get());
    panel->setFileDialogs(fakeDialogs.dialogs());
    panel->resize(420, 120);
    panel->show();
    return panel;
}

void tst_OutputPanel::sameAsProjectHidesAndRestoresTheFolder()
{
    auto panel = makePanel();
    auto *edit = panel->findChild<QLineEdit *>(u"outputEdit"_s);
    auto *browse = panel->findChild<QPushButton *>(u"browseOutputButton"_s);
    auto *same = panel->findChild<QCheckBox *>(u"sameAsProjectCheck"_s);
    QSignalSpy changed(panel.get(), &OutputPanel::outputChanged);
    panel->setOutputDir(u"C:/out"_s);
    QCOMPARE(changed.size(), 0);

    QTest::mouseClick(same, Qt::LeftButton);
    QVERIFY(panel->isSameAsProject());
    QCOMPARE(panel->outputDir(), QString());
    QCOMPARE(edit->text(), QString());
    QCOMPARE(edit->placeholderText(), u"Same as project folder"_s);
    QVERIFY(!edit->isEnabled());
    QVERIFY(!browse->isEnabled());
    QCOMPARE(changed.size(), 1);

    QTest::mouseClick(same, Qt::LeftButton);
    QCOMPARE(panel->outputDir(), u"C:/out"_s);
    QCOMPARE(edit->placeholderText(), u"Drag & drop a folder or click browse..."_s);
    QVERIFY(edit->isEnabled());
    QVERIFY(browse->isEnabled());
    QCOMPARE(changed.size(), 2);
}

void tst_OutputPanel::drops_data()
{
    QTest::addColumn<bool>("sameAsProjectFirst");
    QTest::addColumn<QStringList>("dropped");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("signals");

    QTest::addRow("a folder") << false << QStringList{u"out1"_s} << u"out1"_s << 1;
    QTest::addRow("the first of several folders")
        << false << QStringList{u"model.rvt"_s, u"out2"_s, u"out1"_s} << u"out2"_s << 1;
    // Unchecking announces itself, then the new folder does.
    QTest::addRow("a folder while same-as-project is on") << true << QStringList{u"out1"_s} << u"out1"_s << 2;
    QTest::addRow("a file is refused") << false << QStringList{u"model.rvt"_s} << QString() << 0;
    QTest::addRow("a file is refused while same-as-project is on")
        << true << QStringList{u"model.rvt"_s} << QString() << 0;
}

void tst_OutputPanel::drops()
{
    QFETCH(bool, sameAsProjectFirst);
    QFETCH(QStringList, dropped);
    QFETCH(QString, expected);
    QFETCH(int, signals);

    auto panel = makePanel();
    panel->setOutputDir(u"/previous"_s);
    if (sameAsProjectFirst)
        panel->findChild<QCheckBox *>(u"sameAsProjectCheck"_s)->setChecked(true);
    QSignalSpy changed(panel.get(), &OutputPanel::outputChanged);
    auto *overlay = panel->findChild<DropOverlay *>();

    QStringList absolute;
    for (const QString &relative : dropped)
        absolute.append(path(relative));
    QMimeData mime;
    mime.setUrls(localUrls(absolute));
    const bool accepted = DropTesting::dragEnter(panel.get(), &mime);
    QCOMPARE(accepted, !expected.isEmpty());
    QCOMPARE(overlay->isVisible(), accepted);
    if (accepted)
        QCOMPARE(overlay->text(), u"Drop folder here"_s);
    DropTesting::dragLeave(panel.get());
    QVERIFY(overlay->isHidden());

    const auto outcome = DropTesting::dragAndDrop(panel.get(), &mime);
    QCOMPARE(outcome.dropped, accepted);
    QVERIFY(overlay->isHidden());
    QCOMPARE(changed.size(), signals);
    if (accepted) {
        QVERIFY(!panel->isSameAsProject());
        QCOMPARE(panel->outputDir(), path(expected));
        // The dropped folder is what comes back after a later same-as-project round trip.
        auto *same = panel->findChild<QCheckBox *>(u"sameAsProjectCheck"_s);
        same->setChecked(true);
        same->setChecked(false);
        QCOMPARE(panel->outputDir(), path(expected));
    } else {
        QCOMPARE(panel->isSameAsProject(), sameAsProjectFirst);
        QCOMPARE(panel->outputDir(), sameAsProjectFirst ? QString() : u"/previous"_s);
    }
    // Dropping never touches the dialog's start folder.
    QVERIFY(!settings->contains(SettingsKeys::defaultOutputDir()));
}

void tst_OutputPanel::browsingRemembersTheFolder()
{
    auto panel = makePanel();
    QSignalSpy changed(panel.get(), &OutputPanel::outputChanged);
    fakeDialogs.answer({});
    fakeDialogs.answer({path(u"out1"_s) + u"/../out2"_s});
    fakeDialogs.answer({});

    panel->onBrowseFolder();
    QCOMPARE(changed.size(), 0);
    QCOMPARE(panel->outputDir(), QString());

    panel->onBrowseFolder();
    QCOMPARE(panel->outputDir(), path(u"out2"_s));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(settings->value(SettingsKeys::defaultOutputDir()).toString(), path(u"out2"_s));

    panel->onBrowseFolder();
    const auto calls = fakeDialogs.calls();
    QCOMPARE(calls.size(), 3);
    QCOMPARE(calls.at(0).caption, u"Select Folder"_s);
    QCOMPARE(calls.at(0).dir, QDir::currentPath());
    QCOMPARE(calls.at(2).dir, path(u"out2"_s));
    QCOMPARE(panel->outputDir(), path(u"out2"_s));
}

QTEST_MAIN(tst_OutputPanel)
#include "tst_outputpanel.moc"

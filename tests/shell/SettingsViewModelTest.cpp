// The settings window's model without a display: the save folder's Reset,
// rows that hide without losing their values, and the shortcut field fed
// by the same xkbcommon translation the global monitor uses.
#include "shell/settingswindow/SettingsViewModel.h"

#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "tests/support/TestServices.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vantrel;
namespace fs = std::filesystem;

namespace {

struct ChooserAnswers {
    std::optional<QString> answer;
    QString title, acceptLabel;
};

class ScriptedChooser final : public FolderChooser {
public:
    explicit ScriptedChooser(ChooserAnswers& answers) : answers_(answers) {}
    std::optional<QString> chooseFolder(const QString& title, const QString& acceptLabel,
                                        const QString&) override {
        answers_.title = title;
        answers_.acceptLabel = acceptLabel;
        return answers_.answer;
    }

private:
    ChooserAnswers& answers_;
};

// X keycodes of the evdev keymap: the keys' places, whatever the layout prints on them.
constexpr quint32 kKeyA = 38, kKeyY = 29;

class SettingsViewModelTest : public ::testing::Test {
protected:
    SettingsViewModelTest() {
        auto store =
            std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
        settings = std::make_shared<AppSettings>(store, std::make_shared<BookmarkManager>(store), nullptr);
        model = std::make_unique<SettingsViewModel>(settings, nullptr, nullptr,
                                                    std::make_unique<ScriptedChooser>(chooser));
    }
    ShortcutFieldModel& field() { return *model->shortcutField(); }
    void useLayout(const std::string& name) {
        field().setKeyTranslator(
            std::make_unique<ShortcutKeyTranslator>(KeyboardLayoutXkb::fromNames(name, "")));
    }

    QCoreApplication& app = test::qtApp();
    test::TempHome home;
    ChooserAnswers chooser;
    std::shared_ptr<AppSettings> settings;
    std::unique_ptr<SettingsViewModel> model;
};

} // namespace

TEST_F(SettingsViewModelTest, ResetIsOfferedOnlyWhileACustomFolderIsSet) {
    EXPECT_FALSE(model->showsResetSaveLocation());

    model->changeSaveFolder(); // cancelled
    EXPECT_FALSE(model->showsResetSaveLocation());
    EXPECT_EQ(chooser.title, "Select Save Location for Recording Files");
    EXPECT_EQ(chooser.acceptLabel, "Set as Save Location");

    const fs::path chosen = home.home() / "Screencasts";
    fs::create_directories(chosen);
    chooser.answer = QString::fromStdString(chosen.string());
    QSignalSpy folderChanged(model.get(), &SettingsViewModel::saveFolderChanged);
    model->changeSaveFolder();
    EXPECT_TRUE(model->showsResetSaveLocation());
    EXPECT_EQ(model->saveFolderName(), "Screencasts");
    EXPECT_EQ(model->saveFolderPath(), QString::fromStdString(chosen.string()));
    EXPECT_GE(folderChanged.count(), 1);

    model->resetSaveFolder();
    EXPECT_FALSE(model->showsResetSaveLocation());
    EXPECT_NE(model->saveFolderPath(), QString::fromStdString(chosen.string()));
}

TEST_F(SettingsViewModelTest, HiddenRowsFollowTheirSwitchAndKeepTheirValues) {
    settings->setSaveFullScreenBackup(true);
    settings->setEnableAutoZoom(true);
    EXPECT_TRUE(model->showsFullScreenBackupRow());

    QSignalSpy rows(model.get(), &SettingsViewModel::rowsChanged);
    settings->setEnableAutoZoom(false);
    EXPECT_FALSE(model->showsFullScreenBackupRow());
    EXPECT_TRUE(settings->saveFullScreenBackup()) << "hiding the row must not switch the backup off";
    EXPECT_GE(rows.count(), 1);
    settings->setEnableAutoZoom(true);
    EXPECT_TRUE(model->showsFullScreenBackupRow());

    settings->setEnableMicAudio(false);
    settings->setShowWebcam(true);
    EXPECT_FALSE(model->showsMicrophonePicker());
    EXPECT_TRUE(model->showsCameraPickers());
    EXPECT_EQ(model->microphones().size(), 1) << "System Default is always there";
    EXPECT_EQ(model->selectedMicrophoneIndex(), 0);
}

TEST_F(SettingsViewModelTest, TheShortcutFieldTakesOnlyCombinationsAndEscapeOrFocusLossKeepTheOldOne) {
    useLayout("us");
    EXPECT_EQ(field().text(), "⌃⌥R");
    EXPECT_FALSE(field().keyPressed(kKeyA, Qt::ShiftModifier)) << "not listening before a click";

    field().beginRecording();
    EXPECT_EQ(field().text(), "Type shortcut…");
    EXPECT_EQ(field().borderWidth(), 2);
    EXPECT_FALSE(field().keyPressed(kKeyA, Qt::NoModifier)) << "a bare key is no shortcut";
    EXPECT_TRUE(field().isRecording());

    EXPECT_TRUE(field().keyPressed(kKeyA, Qt::ShiftModifier));
    EXPECT_EQ(settings->recordingShortcutKey(), "a");
    EXPECT_EQ(settings->recordingShortcutModifiersRaw(), 0x20000);
    EXPECT_EQ(field().text(), "⇧A");
    EXPECT_FALSE(field().isRecording());
    EXPECT_EQ(field().borderWidth(), 1);

    field().beginRecording();
    field().cancelOperation();
    EXPECT_EQ(field().text(), "⇧A");
    EXPECT_EQ(field().borderWidth(), 1);
    field().beginRecording();
    field().resignFirstResponder();
    EXPECT_FALSE(field().keyPressed(kKeyA, Qt::ControlModifier));
    EXPECT_EQ(settings->recordingShortcutModifiersRaw(), 0x20000);

    model->resetShortcut();
    EXPECT_EQ(field().text(), "⌃⌥R");
}

TEST_F(SettingsViewModelTest, TheShortcutIsStoredAsTheLayoutPrintsIt) {
    // The key that prints Y on a US keyboard prints Z on a German one; the
    // monitor will see "z", so the field must store "z".
    useLayout("de");
    field().beginRecording();
    EXPECT_TRUE(field().keyPressed(kKeyY, Qt::ControlModifier | Qt::AltModifier));
    EXPECT_EQ(settings->recordingShortcutKey(), "z");
    EXPECT_EQ(settings->recordingShortcutModifiersRaw(), 0xC0000);
    EXPECT_EQ(field().text(), "⌃⌥Z");
}

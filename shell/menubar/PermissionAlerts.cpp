#include "shell/menubar/PermissionAlerts.h"

#include "settings/PermissionsManager.h"

#include <QLocale>

namespace vantrel {

namespace {

struct Texts {
    const char* title;
    const char* openButton;
    const char* text; // for accessibility: what follows the feature's name
};

using Kind = DeniedPermission::Kind;

Texts englishTexts(Kind kind) {
    switch (kind) {
    case Kind::screenRecording:
        return {"Screen Recording Permission Required", "Open Screen Recording Settings",
                "Vantrel needs Screen Recording permission to record your screen.\n\nClick \"Open Screen "
                "Recording Settings\" to grant access, then start recording."};
    case Kind::microphone:
        return {"Microphone Permission Required", "Open Microphone Settings",
                "To record microphone audio, Vantrel needs Microphone permission.\n\nClick \"Open Microphone "
                "Settings\" to grant access, then start recording."};
    case Kind::camera:
        return {"Camera Permission Required", "Open Camera Settings",
                "To show the webcam overlay, Vantrel needs Camera permission.\n\nClick \"Open Camera "
                "Settings\" to grant access, then start recording."};
    case Kind::accessibility:
        return {"Accessibility Permission Required", "Open Accessibility Settings",
                ", Vantrel needs Accessibility permission.\n\nClick \"Open Accessibility Settings\" to grant "
                "access, then start recording."};
    }
    return {};
}

Texts japaneseTexts(Kind kind) {
    switch (kind) {
    case Kind::screenRecording:
        return {"画面収録の許可が必要です", "画面収録設定を開く",
                "録画を開始するには、システム設定で画面収録の許可が必要です。\n\n「画面収録設定を開く」で"
                "システム設定を開き、Vantrelを許可してから録画を開始してください。"};
    case Kind::microphone:
        return {"マイクの許可が必要です", "マイク設定を開く",
                "マイク録音を使用するには、システム設定でマイクの許可が必要です。\n\n「マイク設定を開く」で"
                "システム設定を開き、Vantrelを許可してから録画を開始してください。"};
    case Kind::camera:
        return {"カメラの許可が必要です", "カメラ設定を開く",
                "Webカメラを使用するには、システム設定でカメラの許可が必要です。\n\n「カメラ設定を開く」で"
                "システム設定を開き、Vantrelを許可してから録画を開始してください。"};
    case Kind::accessibility:
        return {
            "アクセシビリティの許可が必要です", "アクセシビリティを開く",
            "を使用するには、システム設定でアクセシビリティの許可が必要です。\n\n「アクセシビリティを開く」"
            "でシステム設定を開き、Vantrelを許可してから録画を開始してください。"};
    }
    return {};
}

QString featureName(const DeniedPermission& permission, AlertLanguage language) {
    const bool japanese = language == AlertLanguage::japanese;
    if (permission.showKeystrokes && permission.showMouseClicks)
        return japanese ? QStringLiteral("キーストローク表示・マウスクリック表示")
                        : QStringLiteral("Keystroke overlay and Mouse Click overlay");
    if (permission.showKeystrokes)
        return japanese ? QStringLiteral("キーストローク表示") : QStringLiteral("Keystroke overlay");
    return japanese ? QStringLiteral("マウスクリック表示") : QStringLiteral("Mouse Click overlay");
}

} // namespace

AlertLanguage currentAlertLanguage() {
    return QLocale().language() == QLocale::Japanese ? AlertLanguage::japanese : AlertLanguage::english;
}

AlertRequest permissionAlert(const DeniedPermission& permission, AlertLanguage language) {
    const bool japanese = language == AlertLanguage::japanese;
    const Texts texts = japanese ? japaneseTexts(permission.kind) : englishTexts(permission.kind);
    AlertRequest request;
    request.messageText = QString::fromUtf8(texts.title);
    if (permission.kind == Kind::accessibility) {
        const QString feature = featureName(permission, language);
        request.informativeText = japanese
                                      ? feature + QString::fromUtf8(texts.text)
                                      : QStringLiteral("To use ") + feature + QString::fromUtf8(texts.text);
    } else {
        request.informativeText = QString::fromUtf8(texts.text);
    }
    request.buttons << QString::fromUtf8(texts.openButton);
    if (permission.kind != Kind::screenRecording)
        request.buttons << (japanese ? QStringLiteral("この機能をオフにして続行")
                                     : QStringLiteral("Turn Off and Continue"));
    request.buttons << (japanese ? QStringLiteral("キャンセル") : QStringLiteral("Cancel"));
    return request;
}

const char* permissionSettingsURL(Kind kind) {
    switch (kind) {
    case Kind::screenRecording:
        return PermissionsManager::kScreenCaptureSettingsURL;
    case Kind::microphone:
        return PermissionsManager::kMicrophoneSettingsURL;
    case Kind::camera:
        return PermissionsManager::kCameraSettingsURL;
    case Kind::accessibility:
        return PermissionsManager::kAccessibilitySettingsURL;
    }
    return "";
}

} // namespace vantrel

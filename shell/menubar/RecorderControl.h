#pragma once
// The session operations of the recorder, as the menu-bar model calls them.
// The model is the only caller; the interface lets its tests run it over a
// recorder of their own. Every operation runs on the main thread; the
// asynchronous ones may interleave with other main-thread work at their
// waits, and throw the recorder's errors unchanged.

#include <QCoro/QCoroTask>
#include <memory>

namespace vantrel {

class ScreenRecorder;

class RecorderControl {
public:
    virtual ~RecorderControl() = default;
    virtual QCoro::Task<> prepareRecording() = 0;
    /// Never throws.
    virtual QCoro::Task<> cancelPreparedRecording() = 0;
    virtual QCoro::Task<> startRecording() = 0;
    virtual QCoro::Task<> stopRecording() = 0;
    virtual void pause() = 0;
    virtual void resume() = 0;
    /// False after a start that ended without a stream (a precondition did not hold).
    virtual bool isCurrentlyRecording() const = 0;
};

/// The real recorder behind the interface.
class ScreenRecorderControl final : public RecorderControl {
public:
    /// Null makes a recorder on the shared settings, permissions and folders.
    explicit ScreenRecorderControl(std::shared_ptr<ScreenRecorder> recorder = nullptr);
    QCoro::Task<> prepareRecording() override;
    QCoro::Task<> cancelPreparedRecording() override;
    QCoro::Task<> startRecording() override;
    QCoro::Task<> stopRecording() override;
    void pause() override;
    void resume() override;
    bool isCurrentlyRecording() const override;

    const std::shared_ptr<ScreenRecorder>& recorder() const { return recorder_; }

private:
    std::shared_ptr<ScreenRecorder> recorder_;
};

} // namespace vantrel

#include "shell/menubar/RecorderControl.h"

#include "recording/ScreenRecorder.h"

namespace vantrel {

ScreenRecorderControl::ScreenRecorderControl(std::shared_ptr<ScreenRecorder> recorder)
    : recorder_(recorder ? std::move(recorder) : ScreenRecorder::create()) {}

// Each call holds the recorder for as long as its task runs.
QCoro::Task<> ScreenRecorderControl::prepareRecording() {
    auto recorder = recorder_;
    co_await recorder->prepareRecording();
}

QCoro::Task<> ScreenRecorderControl::cancelPreparedRecording() {
    auto recorder = recorder_;
    co_await recorder->cancelPreparedRecording();
}

QCoro::Task<> ScreenRecorderControl::startRecording() {
    auto recorder = recorder_;
    co_await recorder->startRecording();
}

QCoro::Task<> ScreenRecorderControl::stopRecording() {
    auto recorder = recorder_;
    co_await recorder->stopRecording();
}

void ScreenRecorderControl::pause() {
    recorder_->pause();
}
void ScreenRecorderControl::resume() {
    recorder_->resume();
}
bool ScreenRecorderControl::isCurrentlyRecording() const {
    return recorder_->isCurrentlyRecording();
}

} // namespace vantrel

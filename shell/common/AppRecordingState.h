#pragma once
// The application's recording state, shared by the menu-bar model and the
// control bar. Unlike the recorder's own state it has `standby`: the bar is
// up and the countdown runs while the recording is prepared behind it.

namespace vantrel {

enum class AppRecordingState { idle, standby, recording, paused };

} // namespace vantrel

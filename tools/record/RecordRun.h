#pragma once
// One headless recording from start to end: prepares and starts the real
// recorder, pauses and resumes when told, reports progress once a second,
// and stops when the time is up, on Ctrl+C or SIGTERM, when the display
// server goes away, or when the recorder stopped by itself (a writer
// failed). At the end it names every file written and its frame counts.

#include "RecordOptions.h"
#include "recording/ScreenRecorder.h"

#include <QCoro/QCoroTask>
#include <QElapsedTimer>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

namespace vantrel::tools {

class RecordRun {
public:
    /// `results` receives the file paths and counts at the end.
    RecordRun(std::shared_ptr<ScreenRecorder> recorder, RecordOptions options, std::FILE* results);

    /// Runs the whole recording; the exit status of the program.
    QCoro::Task<int> run();

    /// Asks for a clean stop; safe from a signal handler's flag poll.
    void requestStop() { stopRequested_ = true; }

private:
    struct FileCounts {
        std::string path;
        std::shared_ptr<AVAssetWriter> writer;
        std::shared_ptr<AVAssetWriterInput> videoInput;
    };

    bool openCameraPath();
    void applyScriptedPause();
    void reportProgress();
    /// Why the recording should end now, or empty to go on.
    std::string reasonToStop();
    void printResults();

    std::shared_ptr<ScreenRecorder> recorder_;
    RecordOptions options_;
    std::FILE* results_;
    std::vector<FileCounts> files_;
    std::ofstream cameraPath_;
    QElapsedTimer clock_;
    std::shared_ptr<RecordingPipeline> pipeline_;
    qint64 lastReportMs_ = -1;
    bool paused_ = false;
    bool resumed_ = false;
    bool stopRequested_ = false;
    bool progressOnTerminal_ = false;
};

} // namespace vantrel::tools

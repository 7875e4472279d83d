#pragma once
// One MP4 file being written by several encoder threads at once. While it is
// written it is fragmented (an empty index up front, then a self-describing
// fragment at each video key frame, flushed to the kernel at once), so that
// whatever is on disk when the process dies or the disk fills still plays.

#include <filesystem>
#include <mutex>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace vantrel {

class Mp4Muxer {
public:
    explicit Mp4Muxer(std::filesystem::path path);
    ~Mp4Muxer();
    Mp4Muxer(const Mp4Muxer&) = delete;
    Mp4Muxer& operator=(const Mp4Muxer&) = delete;

    /// Before open, on one thread: a track for an opened encoder. Gives its index, or -1.
    int addStream(const AVCodecContext* encoder, AVRational timeBase, uint32_t codecTag);
    /// Opens the file (which exists and is empty) and writes the header.
    bool open(std::string* error);
    /// Any thread. `packet`'s times are in `timeBase`. False once writing has
    /// failed; the first failure's text is in `errorText`.
    bool write(AVPacket* packet, int streamIndex, AVRational timeBase);
    /// Writes the last fragment and closes the file. False when that failed.
    bool close(std::string* error);

    bool failed() const;
    std::string errorText() const;
    /// True once a whole fragment (pictures or sound, not only the header) is
    /// in the file: from then on the file plays, whatever fails later.
    bool holdsMedia() const;

private:
    bool failLocked(int averror, const char* what);

    std::filesystem::path path_;
    mutable std::mutex mutex_;
    AVFormatContext* format_ = nullptr;
    bool headerWritten_ = false;
    int64_t headerBytes_ = 0;
    bool holdsMedia_ = false;
    bool failed_ = false;
    std::string error_;
};

/// An FFmpeg error code as text.
std::string averrorText(int averror);

} // namespace vantrel

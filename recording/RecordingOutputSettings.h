#pragma once
// The writer settings every recording uses: HEVC driven by quality with the
// colour tags of a P3 display, the BGRA pictures the stream and the engine
// hand over, and AAC stereo for each sound source.

#include "platform/writer/AssetWriter.h"

namespace vantrel {

inline VideoOutputSettings recordingVideoSettings(int width, int height) {
    VideoOutputSettings settings;
    settings.codec = AVVideoCodecTypeHEVC;
    settings.width = width;
    settings.height = height;
    settings.compression.usingHardwareAcceleratedVideoEncoder = true;
    settings.compression.realTime = true;
    settings.compression.expectedSourceFrameRate = 60;
    settings.compression.quality = 0.82;
    settings.compression.profileLevel = kVTProfileLevel_HEVC_Main_AutoLevel;
    settings.compression.maxKeyFrameIntervalDuration = 2.0;
    settings.compression.allowOpenGOP = true;
    settings.color = {AVVideoColorPrimaries_P3_D65, AVVideoTransferFunction_ITU_R_709_2,
                      AVVideoYCbCrMatrix_ITU_R_709_2};
    return settings;
}

inline PixelBufferAttributes recordingPixelBufferAttributes(int width, int height) {
    return {kCVPixelFormatType_32BGRA, width, height};
}

inline AudioOutputSettings recordingAudioSettings() {
    AudioOutputSettings settings;
    settings.formatID = kAudioFormatMPEG4AAC;
    settings.sampleRate = 48000.0;
    settings.numberOfChannels = 2;
    settings.encoderBitRate = 128000;
    settings.channelLayout = {0x02, 0x00, 0x65, 0x00}; // kAudioChannelLayoutTag_Stereo, little-endian
    return settings;
}

} // namespace vantrel

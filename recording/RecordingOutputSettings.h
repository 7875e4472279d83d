#pragma once
// The writer settings every recording uses: HEVC driven by quality, tagged
// BT.709, the BGRA pictures the stream and the engine hand over, and AAC
// stereo for each sound source.

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
    // BT.709 primaries, transfer and matrix (1/1/1): the X server's pixels
    // are sRGB and nothing converts them, nor the overlays drawn in device
    // RGB. Tagged P3 (what the pixels are on a desktop that converts them),
    // colour-managed players, browsers and most players on wide-gamut
    // laptops, would show every recording over-saturated.
    settings.color = {AVVideoColorPrimaries_ITU_R_709_2, AVVideoTransferFunction_ITU_R_709_2,
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

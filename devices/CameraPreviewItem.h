#pragma once
// The live picture of a running capture session as a Qt Quick item: the
// newest picture only, filling the item with its aspect kept (the overflow
// is cut off), mirrored as in a mirror. The shell places it where the
// webcam preview belongs and gives it CameraManager::captureSession().
//
// Main thread, except updatePaintNode, which Qt calls on the render thread
// while the main thread waits.

#include "platform/camera/CaptureSession.h"

#include <QPointer>
#include <QQuickItem>
#include <QSGImageNode>
#include <memory>
#include <mutex>

namespace vantrel {

class CameraPreviewItem : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(bool mirrored READ mirrored WRITE setMirrored NOTIFY mirroredChanged)

public:
    explicit CameraPreviewItem(QQuickItem* parent = nullptr);
    ~CameraPreviewItem() override;

    /// The session whose pictures are shown; null shows nothing. Setting the
    /// session it already has does nothing.
    void setSession(std::shared_ptr<AVCaptureSession> session);
    std::shared_ptr<AVCaptureSession> session() const { return session_; }

    /// True (the default) shows the picture as a mirror would, whichever way
    /// the session delivers it.
    bool mirrored() const { return mirrored_; }
    void setMirrored(bool mirrored);

    /// The part of a picture of `pictureSize` that fills `itemSize` with the
    /// aspect kept: all of one dimension, the middle of the other.
    static QRectF aspectFillSourceRect(const QSizeF& pictureSize, const QSizeF& itemSize);
    /// `oldNode` (or a new image node) showing `picture` over `bounds`,
    /// aspect-filled; render thread. The texture borrows the buffer's pixels
    /// and keeps the buffer alive until it lets go of them.
    static QSGImageNode* pictureNode(QQuickWindow& window, QSGNode* oldNode, const CVPixelBufferRef& picture,
                                     const QRectF& bounds);

signals:
    void mirroredChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;

private:
    /// Where the reader thread leaves the newest picture; shared with the
    /// sink, so that a picture arriving as the item goes finds it still there.
    struct Inbox {
        std::mutex mutex;
        CVPixelBufferRef picture;
        bool pictureMirrored = false;
        bool updateQueued = false;
        /// Changes with each session, so that a late picture of the last one is ignored.
        int generation = 0;
        QPointer<CameraPreviewItem> item; // read on the main thread only
    };

    void detach();

    std::shared_ptr<AVCaptureSession> session_;
    int sinkToken_ = 0;
    std::shared_ptr<Inbox> inbox_;
    bool mirrored_ = true;
};

} // namespace vantrel

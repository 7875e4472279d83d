#include "CameraPreviewItem.h"

#include "platform/runtime/DispatchQueue.h"

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>

namespace vantrel {

CameraPreviewItem::CameraPreviewItem(QQuickItem* parent)
    : QQuickItem(parent), inbox_(std::make_shared<Inbox>()) {
    setFlag(ItemHasContents, true);
    inbox_->item = this;
}

CameraPreviewItem::~CameraPreviewItem() {
    detach();
}

void CameraPreviewItem::setSession(std::shared_ptr<AVCaptureSession> session) {
    if (session == session_) return;
    detach();
    session_ = std::move(session);
    if (session_) {
        const int generation = [this] {
            std::lock_guard guard(inbox_->mutex);
            return inbox_->generation;
        }();
        sinkToken_ = session_->addPreviewSink(
            [inbox = inbox_, generation](const CVPixelBufferRef& picture, bool pictureMirrored) {
                bool queue = false;
                {
                    std::lock_guard guard(inbox->mutex);
                    if (inbox->generation != generation) return;
                    inbox->picture = picture;
                    inbox->pictureMirrored = pictureMirrored;
                    // One repaint request at a time; it takes whatever is newest then.
                    queue = !std::exchange(inbox->updateQueued, true);
                }
                if (!queue) return;
                DispatchQueue::main().async([inbox] {
                    {
                        std::lock_guard guard(inbox->mutex);
                        inbox->updateQueued = false;
                    }
                    if (inbox->item) inbox->item->update();
                });
            });
    }
    update();
}

void CameraPreviewItem::detach() {
    if (session_) session_->removePreviewSink(sinkToken_);
    session_.reset();
    sinkToken_ = 0;
    std::lock_guard guard(inbox_->mutex);
    inbox_->picture.reset();
    ++inbox_->generation;
}

void CameraPreviewItem::setMirrored(bool mirrored) {
    if (mirrored == mirrored_) return;
    mirrored_ = mirrored;
    emit mirroredChanged();
    update();
}

QRectF CameraPreviewItem::aspectFillSourceRect(const QSizeF& pictureSize, const QSizeF& itemSize) {
    if (pictureSize.isEmpty() || itemSize.isEmpty()) return {};
    // Scale so that the picture covers the item; what sticks out is cut off evenly.
    const double scale =
        std::max(itemSize.width() / pictureSize.width(), itemSize.height() / pictureSize.height());
    const QSizeF visible(itemSize.width() / scale, itemSize.height() / scale);
    return {(pictureSize.width() - visible.width()) / 2, (pictureSize.height() - visible.height()) / 2,
            visible.width(), visible.height()};
}

QSGImageNode* CameraPreviewItem::pictureNode(QQuickWindow& window, QSGNode* oldNode,
                                             const CVPixelBufferRef& picture, const QRectF& bounds) {
    // BGRA in memory is Qt's ARGB32 on little-endian.
    auto* keep = new CVPixelBufferRef(picture);
    const QImage image(
        picture->baseAddress(), picture->width(), picture->height(),
        static_cast<qsizetype>(picture->bytesPerRow()), QImage::Format_ARGB32_Premultiplied,
        [](void* info) { delete static_cast<CVPixelBufferRef*>(info); }, keep);
    // An image node, which every scene graph backend (the software one
    // included) draws with its source rectangle and mirroring.
    auto* node = static_cast<QSGImageNode*>(oldNode);
    if (!node) {
        node = window.createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
    }
    node->setTexture(window.createTextureFromImage(image));
    node->setRect(bounds);
    node->setSourceRect(aspectFillSourceRect(QSizeF(picture->width(), picture->height()), bounds.size()));
    return node;
}

QSGNode* CameraPreviewItem::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData*) {
    CVPixelBufferRef picture;
    bool pictureMirrored = false;
    {
        std::lock_guard guard(inbox_->mutex);
        picture = inbox_->picture;
        pictureMirrored = inbox_->pictureMirrored;
    }
    if (!picture || boundingRect().isEmpty() || !window()) {
        delete oldNode;
        return nullptr;
    }

    auto* node = pictureNode(*window(), oldNode, picture, boundingRect());
    // Flip only when the picture does not already come the way it is wanted.
    node->setTextureCoordinatesTransform(pictureMirrored == mirrored_ ? QSGImageNode::NoTransform
                                                                      : QSGImageNode::MirrorHorizontally);
    return node;
}

} // namespace vantrel

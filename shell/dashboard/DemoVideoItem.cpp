#include "shell/dashboard/DemoVideoItem.h"

#include "devices/CameraPreviewItem.h"
#include "shell/dashboard/DemoLoopPlayer.h"

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>

namespace vantrel {

DemoVideoItem::DemoVideoItem(QQuickItem* parent) : QQuickItem(parent) {
    setFlag(ItemHasContents, true);
}

QObject* DemoVideoItem::player() const {
    return player_.data();
}

void DemoVideoItem::setPlayer(QObject* player) {
    auto* loopPlayer = qobject_cast<DemoLoopPlayer*>(player);
    if (loopPlayer == player_) return;
    disconnect(pictureConnection_);
    player_ = loopPlayer;
    if (player_)
        pictureConnection_ = connect(player_, &DemoLoopPlayer::pictureChanged, this, &QQuickItem::update);
    emit playerChanged();
    update();
}

QSGNode* DemoVideoItem::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData*) {
    CVPixelBufferRef picture = player_ ? player_->currentPicture() : nullptr;
    if (!picture || boundingRect().isEmpty() || !window()) {
        delete oldNode;
        return nullptr;
    }
    // The image borrows the pooled buffer, which goes back to the pool when the texture lets go.
    auto* keep = new CVPixelBufferRef(picture);
    const QImage image(
        picture->baseAddress(), picture->width(), picture->height(),
        static_cast<qsizetype>(picture->bytesPerRow()), QImage::Format_ARGB32_Premultiplied,
        [](void* info) { delete static_cast<CVPixelBufferRef*>(info); }, keep);
    auto* node = static_cast<QSGImageNode*>(oldNode);
    if (!node) {
        node = window()->createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
    }
    node->setTexture(window()->createTextureFromImage(image));
    node->setRect(boundingRect());
    node->setSourceRect(CameraPreviewItem::aspectFillSourceRect(QSizeF(picture->width(), picture->height()),
                                                                boundingRect().size()));
    return node;
}

} // namespace vantrel

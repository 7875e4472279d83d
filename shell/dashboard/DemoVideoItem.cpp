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
    // The pooled buffer goes back to its pool when the texture lets go.
    return CameraPreviewItem::pictureNode(*window(), oldNode, picture, boundingRect());
}

} // namespace vantrel

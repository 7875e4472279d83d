#pragma once
// The demo video in Qt Quick: the current picture of a DemoLoopPlayer,
// filling the item with its aspect kept. Main thread, except updatePaintNode,
// which Qt calls on the render thread while the main thread waits.

#include <QPointer>
#include <QQuickItem>

namespace vantrel {

class DemoLoopPlayer;

class DemoVideoItem : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(QObject* player READ player WRITE setPlayer NOTIFY playerChanged)

public:
    explicit DemoVideoItem(QQuickItem* parent = nullptr);

    QObject* player() const;
    /// A DemoLoopPlayer, or null (anything else shows nothing).
    void setPlayer(QObject* player);

signals:
    void playerChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;

private:
    QPointer<DemoLoopPlayer> player_;
    QMetaObject::Connection pictureConnection_;
};

} // namespace vantrel

// The notification icon where the desktop has nothing to show it in: a small button in the corner of the screen.
#pragma once

#include "platform/linux/window/notify.h"

#include <QAbstractButton>
#include <QLabel>

namespace dm::platform {

class CornerIcon final : public QAbstractButton {
    Q_OBJECT

public:
    CornerIcon();

    void take(const NotifyIcon &icon);
    /// In the corner of the main screen's work area, as it is now.
    void showInCorner();
    /// Above the icon, for a while.
    void showBalloon(const QString &title, const QString &text);

protected:
    void paintEvent(QPaintEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    QPoint centre() const;

    QLabel balloon_;
    bool unseen_ = false; ///< shown, and not yet painted
};

} // namespace dm::platform

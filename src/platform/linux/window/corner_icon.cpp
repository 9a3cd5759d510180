#include "platform/linux/window/corner_icon.h"

#include "platform/linux/window/x11.h"

#include <QBitmap>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>

#include <utility>

namespace dm::platform {
namespace {

constexpr int sideDips = 48;
constexpr int marginDips = 12;
constexpr int balloonMilliseconds = 8000;

int pixels(int dips) {
    return qRound(dips * QGuiApplication::primaryScreen()->logicalDotsPerInch() / 96);
}

} // namespace

/// A plain window above the others, so that it is among those that the keyboard switches between.
CornerIcon::CornerIcon() {
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::StrongFocus);
    balloon_.setWindowFlags(Qt::ToolTip);
    balloon_.setFrameStyle(QFrame::Box);
    balloon_.setMargin(pixels(marginDips));
    balloon_.installEventFilter(this);
    connect(this, &QAbstractButton::clicked, this, [this] { tellNotifyEvent(NIN_SELECT, centre()); });
    connect(QGuiApplication::primaryScreen(), &QScreen::availableGeometryChanged, this, [this] {
        if (isVisible())
            showInCorner();
    });
}

void CornerIcon::take(const NotifyIcon &icon) {
    setIcon(icon.icon);
    setWindowIcon(icon.icon);
    setWindowTitle(icon.tip);
    setAccessibleName(icon.tip);
    setToolTip(icon.tip);
    update();
}

void CornerIcon::showInCorner() {
    const int side = pixels(sideDips);
    const int margin = pixels(marginDips);
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    setFixedSize(side, side);
    move(room.right() + 1 - margin - side, room.bottom() + 1 - margin - side);
    // Without a compositing desktop nothing else cuts the corners off.
    setMask(icon().pixmap(side, side).mask());
    unseen_ = true;
    show();
    raise();
}

/// Not a tool tip: those go away as soon as another window is activated, which the end of a window is.
void CornerIcon::showBalloon(const QString &title, const QString &text) {
    balloon_.setText(QStringLiteral("<b>%1</b><br>%2").arg(title.toHtmlEscaped(), text.toHtmlEscaped()));
    balloon_.adjustSize();
    const QPoint corner = geometry().topRight() - QPoint(balloon_.width(), balloon_.height() + pixels(marginDips));
    balloon_.move(corner + QPoint(1, 0));
    balloon_.show();
    QTimer::singleShot(balloonMilliseconds, &balloon_, &QWidget::hide);
}

void CornerIcon::paintEvent(QPaintEvent *) {
    if (std::exchange(unseen_, false))
        QMetaObject::invokeMethod(
            this, [this] { correctPlace(*windowHandle()); }, Qt::QueuedConnection);
    QPainter painter(this);
    painter.drawPixmap(0, 0, icon().pixmap(size()));
    if (hasFocus()) {
        const int inset = qMax(1, width() / 16);
        painter.setPen(QPen(Qt::white, 1, Qt::DotLine));
        painter.drawRect(rect().adjusted(inset, inset, -inset - 1, -inset - 1));
    }
}

void CornerIcon::contextMenuEvent(QContextMenuEvent *event) {
    tellNotifyEvent(WM_CONTEXTMENU, event->reason() == QContextMenuEvent::Mouse ? event->globalPos() : centre());
}

void CornerIcon::keyPressEvent(QKeyEvent *event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space)
        tellNotifyEvent(NIN_KEYSELECT, centre());
    else
        QAbstractButton::keyPressEvent(event);
}

void CornerIcon::hideEvent(QHideEvent *) {
    balloon_.hide();
}

bool CornerIcon::eventFilter(QObject *object, QEvent *event) {
    if (object != &balloon_ || event->type() != QEvent::MouseButtonRelease)
        return false;
    balloon_.hide();
    tellNotifyEvent(NIN_BALLOONUSERCLICK, centre());
    return true;
}

QPoint CornerIcon::centre() const {
    return geometry().center();
}

} // namespace dm::platform

#include "ui/animation.h"

#include "core/operations.h"
#include "ui/controls.h"
#include "ui/layout.h"
#include "ui/main_view.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace dm::ui {

Animation animation;

namespace {

constexpr UINT tickMilliseconds = 16;
constexpr UINT reducedTickMilliseconds = 35;
constexpr std::uint64_t gaugeMilliseconds = 300;
constexpr float spinnerStep = 4.5F;

bool isShowing() {
    return IsWindowVisible(mainView.window) != FALSE && IsIconic(mainView.window) == FALSE && !mainView.hiddenInArea;
}

float progressTarget() {
    const OperationState &state = operationState();
    return static_cast<float>(share(state.processed, state.total));
}

/// True if the strip at the foot looks different.
bool stepOperation() {
    OperationState &state = operationState();
    bool changed = stepProgress(state.progressShown, progressTarget(), reduceMotion);
    if (state.busy && !reduceMotion) {
        animation.spinnerAngle = std::fmod(animation.spinnerAngle + spinnerStep, 360.0F);
        changed = true;
    }
    return changed;
}

bool stepGauge(std::uint64_t now) {
    Gauge &gauge = animation.gauge;
    if (reduceMotion) {
        gauge.from = gauge.to;
        gauge.duration = 0;
    }
    const double value = gaugeAt(gauge, now);
    return std::exchange(animation.gaugeShown, value) != value;
}

float target(bool on) {
    return on ? 1.0F : 0.0F;
}

/// True if the control is still moving.
bool stepControl(int id, ControlState &state) {
    const float hot = target(state.hot);
    const float press = target(state.pressed);
    const float toggle = controlKind(id) == ControlKind::Toggle ? target(isToggleOn(id)) : state.toggleLevel;
    bool changed = stepLevel(state.hotLevel, hot, reduceMotion);
    changed |= stepLevel(state.pressLevel, press, reduceMotion);
    changed |= stepLevel(state.toggleLevel, toggle, reduceMotion);
    if (changed)
        invalidateView(mainControl(id), nullptr);
    return state.hotLevel != hot || state.pressLevel != press || state.toggleLevel != toggle;
}

bool stepControls() {
    bool moving = false;
    for (auto &[id, state] : controlStates)
        moving |= stepControl(id, state);
    return moving;
}

void invalidateBand(float x, float y, float w, float h) {
    const RECT band = placedRect(x, y, w, h, mainView.uiScale);
    invalidateView(mainView.window, &band);
}

void invalidateMoving() {
    const LayoutMetrics &metrics = mainMetrics();
    if (mainView.currentPage == PageId::Cleanup)
        invalidateBand(metrics.contentLeft, metrics.cardsTop, metrics.leftColumnWidth, metrics.heroHeight);
    if (operationState().busy) {
        constexpr float stripHeight = 72;
        invalidateBand(metrics.contentLeft, metrics.height - stripHeight, metrics.width - metrics.contentLeft,
                       stripHeight + 1);
    }
}

bool isGaugeMoving(std::uint64_t now) {
    const Gauge &gauge = animation.gauge;
    return gauge.duration != 0 && now < gauge.start + gauge.duration;
}

} // namespace

double share(std::uint64_t part, std::uint64_t whole) {
    const double value = static_cast<double>(part) / static_cast<double>(whole);
    return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
}

double gaugeAt(const Gauge &gauge, std::uint64_t now) {
    if (gauge.duration == 0)
        return gauge.to;
    const double elapsed = now < gauge.start ? 0 : static_cast<double>(now - gauge.start);
    const double p = std::clamp(elapsed / static_cast<double>(gauge.duration), 0.0, 1.0);
    const double e = p * p * (3 - 2 * p);
    return gauge.from + (gauge.to - gauge.from) * e;
}

void aimGauge(Gauge &gauge, double target, std::uint64_t now, bool jump) {
    if (jump) {
        gauge.from = gauge.to = target;
        gauge.duration = 0;
    } else if (target != gauge.to) {
        const double current = gaugeAt(gauge, now);
        gauge = {.from = current, .to = target, .start = now, .duration = current == target ? 0 : gaugeMilliseconds};
    }
}

bool stepLevel(float &level, float target, bool jump) {
    constexpr float part = 0.23F;
    constexpr float closeEnough = 0.01F;
    if (level == target)
        return false;
    level += (target - level) * (jump ? 1.0F : part);
    if (std::fabs(target - level) < closeEnough)
        level = target;
    return true;
}

bool stepProgress(float &shown, float target, bool jump) {
    constexpr float part = 0.2F;
    constexpr float closeEnough = 0.001F;
    const float difference = target - shown;
    if (difference == 0)
        return false;
    shown = jump || std::fabs(difference) <= closeEnough ? target : shown + part * difference;
    return true;
}

double gaugeValue() {
    return gaugeAt(animation.gauge, GetTickCount64());
}

void startAnimationTimer() {
    if (animation.animating || !isShowing())
        return;
    const UINT period = reduceMotion ? reducedTickMilliseconds : tickMilliseconds;
    animation.animating = SetTimer(mainView.window, animationTimerId, period, nullptr) != 0;
}

void stopAnimationTimer() {
    KillTimer(mainView.window, animationTimerId);
    animation.animating = false;
}

void animationTick() {
    const std::uint64_t now = GetTickCount64();
    const OperationState &state = operationState();
    bool changed = stepOperation();
    changed |= stepGauge(now);
    const bool controlsMove = stepControls();
    if (changed)
        invalidateMoving();

    const bool moving = controlsMove || state.progressShown != progressTarget();
    if (!isShowing() || !(moving || isGaugeMoving(now) || (state.busy && !reduceMotion)))
        stopAnimationTimer();
}

} // namespace dm::ui

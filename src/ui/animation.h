// Everything that moves in the main window, driven by one timer that runs only while something does.
#pragma once

#include "platform/win32.h"

#include <cstdint>

namespace dm::ui {

/// The main window's timer that calls animationTick.
inline constexpr UINT_PTR animationTimerId = 3;

/// A value on its way, by the clock of GetTickCount64.
struct Gauge {
    double from = 0;
    double to = 0;
    std::uint64_t start = 0;
    std::uint64_t duration = 0; ///< milliseconds; 0 when it stands
};

/// One a process, on the windows' thread.
struct Animation {
    bool animating = false; ///< the timer runs
    Gauge gauge;            ///< the selected share of what the scan found
    double gaugeShown = 0;  ///< at the last tick
    float spinnerAngle = 0; ///< degrees; turns while an operation runs
};

extern Animation animation;

/// Slow at both ends.
double gaugeAt(const Gauge &gauge, std::uint64_t now);
/// Sends the gauge to another target, from where it is now.
void aimGauge(Gauge &gauge, double target, std::uint64_t now, bool jump);
/// `part` of `whole`, 0 to 1; 0 of nothing.
double share(std::uint64_t part, std::uint64_t whole);
/// Moves a level towards its target, or right to it. True if it has changed.
bool stepLevel(float &level, float target, bool jump);
/// Likewise for the shown progress.
bool stepProgress(float &shown, float target, bool jump);

/// The gauge now, 0 to 1.
double gaugeValue();

/// To be called whenever something has to move, reports of progress included. Does nothing while the main window is not
/// showing, since nothing moves in a hidden window; to be called again when it is shown.
void startAnimationTimer();
/// To be called when the window is hidden or minimised.
void stopAnimationTimer();
/// Answers the timer; stops it once everything stands.
void animationTick();

} // namespace dm::ui

// A scene like a page of the main window: 1300 by 850 DIPs, with 60 texts.
#pragma once

#include "ui/canvas.h"

#include <vector>

namespace dm::bench {

constexpr int sceneWidth = 1300;
constexpr int sceneHeight = 850;

struct SceneBox {
    float x, y, width, height, radius;
    ui::Argb fill, border;
    float borderWidth;
};

/// A page with two lines on it.
struct SceneGlyph {
    float x, y, size;
    ui::Argb color;
};

struct SceneText {
    WString text;
    float x, y, width, height, size;
    ui::Argb color;
    bool bold, singleLine;
    ui::Alignment alignment;
};

struct Scene {
    std::vector<SceneBox> boxes;
    std::vector<SceneGlyph> glyphs;
    std::vector<SceneText> texts;
};

/// In the current palette and language.
Scene makeScene();

/// Paints it with our own drawing, as the main window paints a page: texts are queued.
void paintScene(const Scene &scene, HDC dc, float scale);

} // namespace dm::bench

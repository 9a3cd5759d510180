#include "ui/text.h"

#include "i18n/catalogue.h"
#include "pixels.h"
#include "ui/main_view.h"
#include "ui/theme.h"

#include <gtest/gtest.h>

#include <QGlyphRun>
#include <QTextLayout>

#include <functional>
#include <string>
#include <tuple>

namespace dm::ui {

namespace {

using test::Pixels;

class Text : public test::DrawingTest {
protected:
    Text() { setLanguage("en"); }
    ~Text() override {
        setLanguage("en");
        mainView = {};
        releaseTextPainter(painter);
    }

    static TextRun run(const WString &text, const RECT &rect, int pixelSize, int minPixelSize) {
        TextRun run;
        run.text = text;
        run.fontFamily = currentInterfaceFont();
        run.rect = rect;
        run.pixelSize = pixelSize;
        run.minPixelSize = minPixelSize;
        run.singleLine = true;
        return run;
    }
    RECT ink(TextRun run) {
        Pixels pixels(600, 200);
        pixels.fill(0xFFFFFF);
        drawTextRun(painter, pixels.dc, run);
        return pixels.inkOn(0xFFFFFF);
    }

    TextPainter painter;
};

const WString longText = W("A text that is much longer than any box that it is drawn in here, and then some");

TEST_F(Text, ShrinksToFitButNotBelowItsLeast) {
    TextRun small = run(longText, {0, 0, 100, 20}, 10, 10);
    EXPECT_GT(measureTextRun(painter, small).cx, 100);
    EXPECT_EQ(small.pixelSize, 10);
    EXPECT_LE(ink(small).right, 100);

    TextRun large = run(W("Space to reclaim"), {0, 0, 190, 60}, 27, 12);
    const SIZE size = measureTextRun(painter, large);
    EXPECT_LT(large.pixelSize, 27);
    EXPECT_GT(large.pixelSize, 12);
    EXPECT_LE(size.cx, 190);
    TextRun larger = large;
    larger.pixelSize = larger.minPixelSize = large.pixelSize + 1;
    EXPECT_GT(measureTextRun(painter, larger).cx, 190) << "the first step that fits is taken";
    EXPECT_EQ(measureTextRun(painter, large).cx, size.cx) << "and kept";

    TextRun low = run(W("Space"), {0, 0, 500, 20}, 27, 12);
    EXPECT_LE(measureTextRun(painter, low).cy, 20) << "the height counts too";
    TextRun empty = run(W(""), {0, 0, 100, 100}, 27, 12);
    EXPECT_EQ(measureTextRun(painter, empty).cx + measureTextRun(painter, empty).cy, 0);
}

TEST_F(Text, TheFontCacheStartsOverWhenItIsFull) {
    const TextRun any = run(W("a"), {0, 0, 10, 10}, 1, 1);
    HFONT first = fontFor(painter, any, 1);
    for (int size = 1; size <= 256; ++size)
        ASSERT_NE(fontFor(painter, any, size), nullptr);
    EXPECT_EQ(fontFor(painter, any, 1), first);
    EXPECT_EQ(painter.fonts.size(), 256U);
    ASSERT_NE(fontFor(painter, any, 257), nullptr);
    EXPECT_EQ(painter.fonts.size(), 1U);
    EXPECT_EQ(DeleteObject(first), FALSE) << "it is gone";
}

TEST_F(Text, DrawsWithinItsBoxOnly) {
    const RECT box = {100, 50, 300, 90};
    TextRun whole = run(longText, box, 20, 20);
    const RECT drawn = ink(whole);
    EXPECT_TRUE(drawn.left >= 100 && drawn.right <= 300 && drawn.top >= 50 && drawn.bottom <= 90);
    EXPECT_GT(drawn.right, 270) << "up to the ellipsis";

    for (const RECT &nothing : {RECT{100, 50, 100, 90}, RECT{100, 50, 300, 50}, RECT{700, 50, 800, 90}}) {
        whole.rect = nothing;
        EXPECT_EQ(ink(whole).right, 0);
    }
    EXPECT_GT(ink(run(W("&"), {0, 0, 100, 40}, 20, 20)).right, 5) << "no mark of a key";
    // A run outside what is painted is not even measured.
    Pixels pixels(600, 200);
    IntersectClipRect(pixels.dc, 0, 0, 50, 50);
    TextRun outside = run(longText, box, 20, 5);
    drawTextRun(painter, pixels.dc, outside);
    EXPECT_EQ(outside.pixelSize, 20);
}

TEST_F(Text, CentresALineAndABlock) {
    const RECT box = {0, 0, 200, 120};
    TextRun line = run(W("HHH HHH"), box, 20, 20);
    TextRun block = run(W("HHHHHHHH HHHHHHHH"), box, 20, 20);
    block.singleLine = false;
    for (TextRun *text : {&line, &block}) {
        text->centerVertically = false;
        const RECT top = ink(*text);
        text->centerVertically = true;
        const RECT middle = ink(*text);
        const LONG height = measureTextRun(painter, *text).cy;
        EXPECT_EQ(middle.top - top.top, (120 - height) / 2);
    }
    EXPECT_EQ(measureTextRun(painter, block).cy, 2 * measureTextRun(painter, line).cy);
}

TEST_F(Text, QueuesInTheMainWindowsScaleAndDirection) {
    queueText(W("nobody"), 0, 0, 10, 10, 10, 0, false, Alignment::Leading, false, false, false);
    const std::tuple<const char *, Alignment, UINT> cases[] = {
        {"en", Alignment::Leading, DT_LEFT},
        {"en", Alignment::Trailing, DT_RIGHT},
        {"ar", Alignment::Leading, DT_RIGHT | DT_RTLREADING},
        {"ar", Alignment::Centered, DT_CENTER | DT_RTLREADING},
        {"ar", Alignment::Trailing, DT_LEFT | DT_RTLREADING},
    };
    mainView.uiScale = 1.25F;
    for (const auto &[language, alignment, flags] : cases) {
        setLanguage(language);
        TextBatch batch(painter);
        const BatchScope scope(batch);
        queueText(W("Справка"), 10.2F, 20, 30.3F, 40, 27, 0xFF112233, true, alignment, true, true, false);
        queueText(W("Справка"), 0, 0, 1, 1, 0.1F, 0, false, alignment, false, false, true);
        ASSERT_EQ(batch.runs.size(), 2U);
        const TextRun &first = batch.runs[0];
        EXPECT_TRUE(first.text == tr(W("Справка")));
        EXPECT_TRUE(batch.runs[1].text == W("Справка")) << "this one is not to be translated";
        EXPECT_EQ(first.rect.right, 51) << "the edges are rounded, not the width";
        EXPECT_EQ(first.color, 0x332211U);
        EXPECT_EQ(first.pixelSize, 34);
        EXPECT_EQ(batch.runs[1].pixelSize, 1);
        EXPECT_EQ(first.drawFlags, flags) << language << ' ' << static_cast<int>(alignment);
    }
}

TEST_F(Text, TwoLinesAreOneBlock) {
    for (const float height : {100.0F, 46.0F, 36.0F, 5.0F, 0.0F, -10.0F}) {
        TextBatch batch(painter);
        const BatchScope scope(batch);
        drawTwoLines(W("Title"), W("Detail"), 10, 20, 200, height, 15, 0, 0, true, false);
        ASSERT_EQ(batch.runs.size(), 2U);
        const RECT &title = batch.runs[0].rect;
        const RECT &detail = batch.runs[1].rect;
        EXPECT_LE(title.bottom, detail.top) << height;
        EXPECT_GE(title.top, 20) << height;
        if (height >= 46) {
            EXPECT_NEAR(title.top - 20, 20 + height - detail.bottom, 1) << "in the middle of " << height;
        }
    }
}

/// Every text of the catalogue in every language, in the font of that language.
void forEachText(const std::function<void(const WString &text, const std::string &where)> &look) {
    for (const LanguageChoice &language : languageList()) {
        if (language.code == "system")
            continue;
        setLanguage(language.code);
        for (const CatalogueKey &key : catalogueKeys)
            look(tr(key.source), std::string(language.code) + ' ' + std::string(key.key));
    }
}

TEST_F(Text, NoLanguageLacksAGlyph) {
    std::size_t glyphs = 0;
    forEachText([&](const WString &text, const std::string &where) {
        const QFont font = platform::fontOf(fontFor(painter, run(text, {}, 16, 16), 16));
        QString shown = QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
        shown.remove(u'\n');
        QTextLayout layout(shown, font);
        layout.beginLayout();
        layout.createLine();
        layout.endLayout();
        for (const QGlyphRun &piece : layout.glyphRuns()) {
            EXPECT_FALSE(piece.glyphIndexes().contains(0U)) << where;
            glyphs += static_cast<std::size_t>(piece.glyphIndexes().size());
        }
    });
    EXPECT_GT(glyphs, 50000U);
}

TEST_F(Text, ScriptsAreShaped) {
    const auto width = [&](const char *language, const WString &text) {
        setLanguage(language);
        TextRun one = run(text, {0, 0, 500, 80}, 40, 40);
        return measureTextRun(painter, one).cx;
    };
    // U+200C keeps letters from joining and from forming a conjunct.
    EXPECT_LT(width("ar", W("سسس")), width("ar", W("س\u200Cس\u200Cس")));
    EXPECT_LT(width("hi", W("क्ष")), width("hi", W("क्\u200Cष")));
    EXPECT_LT(width("bn", W("ক্ষ")), width("bn", W("ক্\u200Cষ")));
    EXPECT_EQ(width("th", W("กี่")), width("th", W("ก"))) << "marks stand above their letter";
    EXPECT_EQ(width("vi", W("e\u0302\u0301")), width("vi", W("\u1EBF")));

    const auto drawn = [&](const char *language) {
        setLanguage(language);
        Pixels pixels(60, 60);
        pixels.fill(0xFFFFFF);
        TextRun one = run(W("直"), {0, 0, 60, 60}, 40, 40);
        drawTextRun(painter, pixels.dc, one);
        return pixels.image();
    };
    EXPECT_EQ(drawn("en"), drawn("zh"));
    EXPECT_NE(drawn("ja"), drawn("zh")) << "each language has its own form of it, whichever came first";
    EXPECT_NE(drawn("ko"), drawn("zh"));
}

TEST_F(Text, WhatIsMeasuredIsWhatIsDrawn) {
    int looked = 0;
    forEachText([&](const WString &text, const std::string &where) {
        // The longest are in no single line.
        if (text.size() > 60 || ++looked % 7 != 0)
            return;
        TextRun exact = run(text, {20, 20, 580, 80}, 14, 14);
        const SIZE size = measureTextRun(painter, exact);
        Pixels wide(600, 100);
        Pixels tight(600, 100);
        drawTextRun(painter, wide.dc, exact);
        exact.rect = {20, 20, 20 + size.cx, 20 + size.cy};
        drawTextRun(painter, tight.dc, exact);
        // Beyond the measured width there is at most the overhang of a letter; within it nothing differs.
        const RECT all = wide.inkOn(0);
        EXPECT_TRUE(all.left >= 17 && all.right <= 23 + size.cx && all.bottom <= 22 + size.cy) << where;
        bool same = true;
        for (int y = 20; y < 20 + size.cy; ++y) {
            for (int x = 20; x < 20 + size.cx; ++x)
                same = same && wide.at(x, y) == tight.at(x, y);
        }
        EXPECT_TRUE(same) << where;
    });
    EXPECT_GT(looked, 2000);
}

} // namespace

} // namespace dm::ui

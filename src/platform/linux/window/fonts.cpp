#include "platform/linux/window/fonts.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/device_context.h"
#include "platform/linux/window/drawing_objects.h"

#include <QFontDatabase>
#include <QFontMetricsF>

#include <algorithm>
#include <cmath>

namespace dm::platform {

namespace {

/// The families that cover the scripts of a Windows family. Latin comes first, as in the Windows families themselves,
/// whose Latin letters and line height are the same in all.
struct WindowsFamily {
    const char *name;
    std::vector<const char *> standIns;
    /// Qt makes one engine for a family, size and weight, and whoever asks first says what stands behind the family:
    /// Han characters would have the forms of the language that was shown first. The hint is part of what Qt compares,
    /// so it keeps apart those that take them from another family; it says nothing else about a family that is there.
    QFont::StyleHint hint = QFont::AnyStyle;
};

const std::vector<WindowsFamily> &windowsFamilies() {
    static const std::vector<WindowsFamily> all = {
        {"Segoe UI", {"Noto Sans", "Noto Sans Arabic"}},
        {"Nirmala UI", {"Noto Sans", "Noto Sans Devanagari", "Noto Sans Bengali"}},
        {"Leelawadee UI", {"Noto Sans", "Noto Sans Thai"}},
        {"Microsoft YaHei UI", {"Noto Sans", "Noto Sans CJK SC"}},
        {"Yu Gothic UI", {"Noto Sans", "Noto Sans CJK JP"}, QFont::SansSerif},
        {"Malgun Gothic", {"Noto Sans", "Noto Sans CJK KR"}, QFont::System},
    };
    return all;
}

QtMessageHandler nextMessageHandler = nullptr;

/// Qt 6.4 warns of every family of a list that does not have the script asked for, although the next one is asked then.
void dropFontWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message) {
    if (!message.startsWith(QLatin1String("  OpenType support missing for ")))
        nextMessageHandler(type, context, message);
}

/// Fonts are the application's.
void ensureFonts() {
    application();
    if (nextMessageHandler == nullptr)
        nextMessageHandler = qInstallMessageHandler(dropFontWarnings);
}

const WindowsFamily *windowsFamily(const QString &name) {
    for (const WindowsFamily &family : windowsFamilies()) {
        if (name.compare(QLatin1String(family.name), Qt::CaseInsensitive) == 0)
            return &family;
    }
    return nullptr;
}

Font measured(const QFont &font) {
    const QFontMetricsF metrics(font);
    const int ascent = static_cast<int>(std::lround(metrics.ascent()));
    const int descent = static_cast<int>(std::lround(metrics.descent()));
    return {.font = font, .ascent = ascent, .height = ascent + descent};
}

Font systemFont() {
    ensureFonts();
    QFont font(familiesFor("Segoe UI"));
    font.setPixelSize(12);
    return measured(font);
}

QFont::StyleStrategy strategyFor(DWORD quality) {
    if (quality == NONANTIALIASED_QUALITY)
        return QFont::NoAntialias;
    if (quality == ANTIALIASED_QUALITY)
        return static_cast<QFont::StyleStrategy>(QFont::PreferAntialias | QFont::NoSubpixelAntialias);
    // Which way the stripes of the screen run, if at all, is the desktop's to say.
    return QFont::PreferAntialias;
}

} // namespace

bool isInstalledFamily(const QString &name) {
    ensureFonts();
    const auto installed = [](const char *family) { return QFontDatabase::hasFamily(QLatin1String(family)); };
    const WindowsFamily *family = windowsFamily(name);
    return family == nullptr ? QFontDatabase::hasFamily(name)
                             : std::all_of(family->standIns.begin(), family->standIns.end(), installed);
}

QStringList familiesFor(const QString &name) {
    QStringList families;
    const auto add = [&families](const WindowsFamily &family) {
        for (const char *standIn : family.standIns) {
            if (!families.contains(QLatin1String(standIn)))
                families.append(QLatin1String(standIn));
        }
    };
    if (const WindowsFamily *family = windowsFamily(name))
        add(*family);
    else
        families.append(name);
    // A text may hold any script, as the names of files do.
    for (const WindowsFamily &family : windowsFamilies())
        add(family);
    return families;
}

QFont fontOf(HFONT font) {
    const Font *known = drawingObjectOf<Font>(font);
    return known == nullptr ? QFont() : known->font;
}

const Font &fontIn(const DeviceContext &context) {
    const Font *selected = drawingObjectOf<Font>(context.state.font);
    if (selected != nullptr && selected->height > 0)
        return *selected;
    static const Font system = systemFont();
    return system;
}

} // namespace dm::platform

using namespace dm::platform;

HFONT WINAPI CreateFontW(int height, int width, int escapement, int orientation, int weight, DWORD italic,
                         DWORD underline, DWORD strikeOut, DWORD, DWORD, DWORD, DWORD quality, DWORD, LPCWSTR family) {
    constexpr int highest = 16384;
    if (height >= 0 || height < -highest || width != 0 || escapement != 0 || orientation != 0 || weight < 0 ||
        weight > 1000 || family == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    ensureFonts();
    const QString name = QString::fromUtf16(family);
    QFont font(familiesFor(name));
    if (const WindowsFamily *known = windowsFamily(name))
        font.setStyleHint(known->hint);
    font.setPixelSize(-height);
    font.setWeight(static_cast<QFont::Weight>(weight == 0 ? FW_NORMAL : weight));
    font.setItalic(italic != FALSE);
    font.setUnderline(underline != FALSE);
    font.setStrikeOut(strikeOut != FALSE);
    font.setStyleStrategy(strategyFor(quality));
    return static_cast<HFONT>(newDrawingObject(measured(font)));
}

#include "xui/CButtonFaces.h"

#include "xui/XWindow.h"
#include "xui/theme.h"

#include <algorithm>
#include <cstdint>

namespace {

// At 96 dpi.
constexpr int kRadius = 3;
constexpr int kLine = 1;
constexpr int kFocusInset = 3;
constexpr int kUnit = 8; // parts of a pixel that the outlines are computed in
constexpr int kSamples = 4;
constexpr int kFullCoverage = kSamples * kSamples;

struct Shape {
    int width;
    int height;
    int inset;
    int radius;
};

// How many of a pixel's samples lie within the rounded rectangle.
int Coverage(const Shape& shape, int x, int y) {
    const int nearEdge = (shape.inset + shape.radius) * kUnit;
    const int farX = (shape.width - shape.inset - shape.radius) * kUnit;
    const int farY = (shape.height - shape.inset - shape.radius) * kUnit;
    const int reach = shape.radius * kUnit;
    int covered = 0;
    for (int sample = 0; sample < kFullCoverage; ++sample) {
        const int sampleX = x * kUnit + 1 + 2 * (sample % kSamples);
        const int sampleY = y * kUnit + 1 + 2 * (sample / kSamples);
        const int offX = std::max({nearEdge - sampleX, sampleX - farX, 0});
        const int offY = std::max({nearEdge - sampleY, sampleY - farY, 0});
        covered += offX * offX + offY * offY <= reach * reach ? 1 : 0;
    }
    return covered;
}

// COLORREF is 0xBBGGRR, a pixel of the bitmap 0xRRGGBB.
std::uint32_t ToPixel(COLORREF colour) {
    return (colour & 0xFF) << 16 | (colour & 0xFF00) | (colour >> 16 & 0xFF);
}

std::uint32_t Blend(std::uint32_t under, std::uint32_t over, int coverage) {
    std::uint32_t result = 0;
    for (const int shift : {0, 8, 16}) {
        const int from = static_cast<int>(under >> shift & 0xFF);
        const int to = static_cast<int>(over >> shift & 0xFF);
        result |= static_cast<std::uint32_t>(from + (to - from) * coverage / kFullCoverage) << shift;
    }
    return result;
}

void Fill(std::uint32_t* pixels, const Shape& shape, COLORREF colour) {
    const std::uint32_t over = ToPixel(colour);
    for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.width; ++x) {
            std::uint32_t& pixel = pixels[y * shape.width + x];
            pixel = Blend(pixel, over, Coverage(shape, x, y));
        }
    }
}

} // namespace

/// How one state looks. Widths in pixels.
struct CButtonFaces::Look {
    COLORREF fill;
    COLORREF outline;
    int outlineWidth;
    COLORREF text;
    bool focusRing;
    bool sunken; // the caption moves by a line
};

CButtonFaces::Look CButtonFaces::LookOf(State state, const Subject& subject) {
    const int line = std::max(1, XWindow::ScaleForDpi(kLine, subject.dpi));
    const XButtonColours& colours = subject.colours;
    Look look{colours.face, colours.edge, line, subject.text, false, false};
    if (subject.highContrast)
        look.outline = subject.text;
    switch (state) {
    case kHot:
        look.fill = subject.highContrast ? colours.face : colours.light;
        if (subject.highContrast) {
            look.outline = subject.selected;
            look.outlineWidth = 2 * line;
        }
        break;
    case kPressed:
        look.fill = subject.highContrast ? subject.selected : colours.edge;
        look.text = subject.highContrast ? subject.selectedText : subject.text;
        look.sunken = true;
        break;
    case kFocused:
        look.focusRing = true;
        [[fallthrough]];
    case kDefault:
        look.outlineWidth = 2 * line;
        break;
    case kDisabled:
        look.outline = subject.highContrast ? subject.disabledText : colours.light;
        look.text = subject.disabledText;
        break;
    default:
        break;
    }
    return look;
}

CButtonFaces::CBitmap CButtonFaces::Render(HDC dc, State state, const Subject& subject) {
    const int width = subject.size.cx;
    const int height = subject.size.cy;
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    CBitmap bitmap(::CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!bitmap)
        return bitmap;
    auto* const pixels = static_cast<std::uint32_t*>(bits);
    std::fill_n(pixels, width * height, ToPixel(subject.colours.face));

    const Look look = LookOf(state, subject);
    const int line = std::max(1, XWindow::ScaleForDpi(kLine, subject.dpi));
    const int radius = subject.highContrast ? 0 : XWindow::ScaleForDpi(kRadius, subject.dpi);
    const auto shapeAt = [&](int inset) { return Shape{width, height, inset, std::max(radius - inset, 0)}; };
    Fill(pixels, shapeAt(0), look.outline);
    Fill(pixels, shapeAt(look.outlineWidth), look.fill);
    if (look.focusRing) {
        const int inset = XWindow::ScaleForDpi(kFocusInset, subject.dpi);
        Fill(pixels, shapeAt(inset), look.text);
        Fill(pixels, shapeAt(inset + line), look.fill);
    }

    const HDC memory = ::CreateCompatibleDC(dc);
    const HGDIOBJ oldBitmap = ::SelectObject(memory, bitmap.Get());
    const HGDIOBJ oldFont = ::SelectObject(memory, subject.font);
    ::SetBkMode(memory, TRANSPARENT);
    ::SetTextColor(memory, look.text);
    RECT area{0, 0, width, height};
    if (look.sunken)
        ::OffsetRect(&area, line, line);
    ::DrawTextW(
        memory, subject.caption.c_str(), -1, &area, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    ::GdiFlush();
    ::SelectObject(memory, oldFont);
    ::SelectObject(memory, oldBitmap);
    ::DeleteDC(memory);
    return bitmap;
}

bool CButtonFaces::IsSame(const Subject& a, const Subject& b) {
    return a.size.cx == b.size.cx && a.size.cy == b.size.cy && a.dpi == b.dpi && a.font == b.font &&
           a.caption == b.caption && a.colours.face == b.colours.face && a.colours.edge == b.colours.edge &&
           a.colours.light == b.colours.light && a.text == b.text && a.disabledText == b.disabledText &&
           a.selected == b.selected && a.selectedText == b.selectedText && a.highContrast == b.highContrast;
}

void CButtonFaces::Draw(HDC dc, const RECT& rect, State state, const std::wstring& caption, HFONT font,
    int dpi, const XButtonColours& colours) {
    const bool highContrast = IsHighContrast();
    Subject subject{{rect.right - rect.left, rect.bottom - rect.top}, dpi, font, caption, colours,
        ::GetSysColor(COLOR_BTNTEXT), ::GetSysColor(COLOR_GRAYTEXT), ::GetSysColor(COLOR_HIGHLIGHT),
        ::GetSysColor(COLOR_HIGHLIGHTTEXT), highContrast};
    if (highContrast)
        subject.colours.face = ::GetSysColor(COLOR_BTNFACE);
    if (!IsSame(subject, m_subject)) {
        for (CBitmap& bitmap : m_bitmaps)
            bitmap.Reset();
        m_subject = subject;
    }
    CBitmap& bitmap = m_bitmaps[static_cast<std::size_t>(state)];
    if (!bitmap)
        bitmap = Render(dc, state, m_subject);
    const HDC memory = ::CreateCompatibleDC(dc);
    const HGDIOBJ oldBitmap = ::SelectObject(memory, bitmap.Get());
    ::BitBlt(dc, rect.left, rect.top, subject.size.cx, subject.size.cy, memory, 0, 0, SRCCOPY);
    ::SelectObject(memory, oldBitmap);
    ::DeleteDC(memory);
}

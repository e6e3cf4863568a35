#define NK_IMPLEMENTATION
#include "Lettering.h"

#include <nuklear.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "Machine.h"

namespace gui {
namespace {

// How much of each pixel of a picture is ink, from 0 to 1.
class Cover {
public:
    Cover(int width, int height) : width_(width), height_(height), shares_(static_cast<std::size_t>(width * height)) {}

    int Width() const { return width_; }
    int Height() const { return height_; }
    float& At(int x, int y) { return shares_[static_cast<std::size_t>(y * width_ + x)]; }
    float At(int x, int y) const { return shares_[static_cast<std::size_t>(y * width_ + x)]; }

private:
    int width_;
    int height_;
    std::vector<float> shares_;
};

int Mix(int from, int to, float share) {
    return static_cast<int>(std::lround(static_cast<float>(from) + static_cast<float>(to - from) * share));
}

Picture Blend(const Cover& cover, Colour ink, Colour paper) {
    Picture picture(cover.Width(), cover.Height(), paper);
    for (int y = 0; y < cover.Height(); ++y) {
        for (int x = 0; x < cover.Width(); ++x) {
            const float share = cover.At(x, y);
            picture.Set({x, y}, {Mix(paper.r, ink.r, share), Mix(paper.g, ink.g, share), Mix(paper.b, ink.b, share)});
        }
    }
    return picture;
}

}  // namespace

struct Lettering::Font {
    nk_font_atlas atlas{};
    nk_font* face = nullptr;
    int width = 0;
    int height = 0;
    std::vector<unsigned char> ink;  // the atlas, one byte for each pixel

    // Bilinear, as the texture is sampled on the screen. u and v are in pixels of the atlas.
    float Sample(float u, float v) const {
        const float x = u - 0.5F;
        const float y = v - 0.5F;
        const int left = static_cast<int>(std::floor(x));
        const int top = static_cast<int>(std::floor(y));
        const float fx = x - static_cast<float>(left);
        const float fy = y - static_cast<float>(top);
        return (At(left, top) * (1 - fx) + At(left + 1, top) * fx) * (1 - fy) +
               (At(left, top + 1) * (1 - fx) + At(left + 1, top + 1) * fx) * fy;
    }

    float At(int x, int y) const {
        x = std::clamp(x, 0, width - 1);
        y = std::clamp(y, 0, height - 1);
        return static_cast<float>(ink[static_cast<std::size_t>(y * width + x)]) / 255.0F;
    }

    // The ink at a place of the glyph's box, whose sides run from 0 to 1; outside there is none.
    float Ink(const nk_font_glyph& glyph, float x, float y) const {
        if (x < 0 || x > 1 || y < 0 || y > 1) {
            return 0;
        }
        return Sample((glyph.u0 + x * (glyph.u1 - glyph.u0)) * static_cast<float>(width),
                      (glyph.v0 + y * (glyph.v1 - glyph.v0)) * static_cast<float>(height));
    }

    void CoverGlyph(Cover& cover, const nk_font_glyph& glyph, float left, float top) const {
        if (glyph.x1 <= glyph.x0 || glyph.y1 <= glyph.y0) {
            return;  // a blank
        }
        const float x0 = left + glyph.x0;
        const float y0 = top + glyph.y0;
        for (int y = std::max(0, static_cast<int>(y0)); y < cover.Height(); ++y) {
            for (int x = std::max(0, static_cast<int>(x0)); x < cover.Width(); ++x) {
                float& covered = cover.At(x, y);
                covered += (1 - covered) * Ink(glyph, (static_cast<float>(x) + 0.5F - x0) / (glyph.x1 - glyph.x0),
                                               (static_cast<float>(y) + 0.5F - y0) / (glyph.y1 - glyph.y0));
            }
        }
    }

    void CoverText(Cover& cover, const std::string& text, float left, float top) const {
        const char* rest = text.c_str();
        int bytes = static_cast<int>(text.size());
        while (bytes > 0) {
            nk_rune rune = 0;
            const int used = nk_utf_decode(rest, &rune, bytes);
            if (used == 0) {
                break;
            }
            const nk_font_glyph& glyph = *nk_font_find_glyph(face, rune);
            CoverGlyph(cover, glyph, left, top);
            left += glyph.xadvance;
            rest += used;
            bytes -= used;
        }
    }

    // As much of a text as the toolkit shows in a cell that is too narrow for all of it.
    std::string Clamp(const std::string& text, float cellWidth) const {
        int glyphs = 0;
        float shownWidth = 0;
        const int bytes = nk_text_clamp(&face->handle, text.c_str(), static_cast<int>(text.size()), cellWidth, &glyphs,
                                        &shownWidth, nullptr, 0);
        return text.substr(0, static_cast<std::size_t>(bytes));
    }
};

Lettering::Lettering(float pixels) : font_(std::make_unique<Font>()) {
    nk_font_atlas_init_default(&font_->atlas);
    nk_font_atlas_begin(&font_->atlas);
    font_->face = nk_font_atlas_add_from_file(&font_->atlas, place::kFont.c_str(), pixels, nullptr);
    if (font_->face == nullptr) {
        throw std::runtime_error("cannot read the font " + place::kFont);
    }
    const void* baked = nk_font_atlas_bake(&font_->atlas, &font_->width, &font_->height, NK_FONT_ATLAS_ALPHA8);
    const auto* bytes = static_cast<const unsigned char*>(baked);
    font_->ink.assign(bytes, bytes + font_->width * font_->height);
    nk_draw_null_texture unused{};
    nk_font_atlas_end(&font_->atlas, nk_handle_id(0), &unused);
}

Lettering::~Lettering() {
    nk_font_atlas_clear(&font_->atlas);
}

float Lettering::Width(const std::string& text) const {
    const nk_user_font& face = font_->face->handle;
    return face.width(face.userdata, face.height, text.c_str(), static_cast<int>(text.size()));
}

Picture Lettering::Draw(Rect cell, const std::string& text, Align align, Colour ink, Colour paper) const {
    Cover cover(static_cast<int>(cell.w), static_cast<int>(cell.h));
    float left = 0;
    if (align == Align::Centred) {
        left = std::trunc(cell.x + std::max(0.0F, (cell.w - Width(text)) / 2)) - std::trunc(cell.x);
    }
    const float top = std::trunc(cell.y + cell.h / 2 - font_->face->handle.height / 2) - std::trunc(cell.y);
    font_->CoverText(cover, Width(text) > cell.w ? font_->Clamp(text, cell.w) : text, left, top);
    return Blend(cover, ink, paper);
}

}  // namespace gui

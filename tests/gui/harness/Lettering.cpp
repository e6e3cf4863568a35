#define NK_IMPLEMENTATION
#include "Lettering.h"

#include <nuklear.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "Machine.h"

namespace gui {

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
    const nk_user_font& face = font_->face->handle;
    Picture picture(static_cast<int>(cell.w), static_cast<int>(cell.h), paper);
    float left = 0;
    if (align == Align::Centred) {
        left = std::trunc(cell.x + std::max(0.0F, (cell.w - Width(text)) / 2)) - std::trunc(cell.x);
    }
    const float top = std::trunc(cell.y + cell.h / 2 - face.height / 2) - std::trunc(cell.y);

    std::string shown = text;
    if (Width(text) > cell.w) {
        int glyphs = 0;
        float width = 0;
        shown.resize(static_cast<std::size_t>(
            nk_text_clamp(&face, text.c_str(), static_cast<int>(text.size()), cell.w, &glyphs, &width, nullptr, 0)));
    }
    std::vector<float> cover(static_cast<std::size_t>(picture.Width() * picture.Height()), 0.0F);
    const char* rest = shown.c_str();
    int bytes = static_cast<int>(shown.size());
    while (bytes > 0) {
        nk_rune rune = 0;
        const int used = nk_utf_decode(rest, &rune, bytes);
        if (used == 0) {
            break;
        }
        const nk_font_glyph& glyph = *nk_font_find_glyph(font_->face, rune);
        const float x0 = left + glyph.x0;
        const float y0 = top + glyph.y0;
        for (int y = std::max(0, static_cast<int>(y0)); y < picture.Height(); ++y) {
            for (int x = std::max(0, static_cast<int>(x0)); x < picture.Width(); ++x) {
                const float px = (static_cast<float>(x) + 0.5F - x0) / (glyph.x1 - glyph.x0);
                const float py = (static_cast<float>(y) + 0.5F - y0) / (glyph.y1 - glyph.y0);
                if (px < 0 || px > 1 || py < 0 || py > 1) {
                    continue;
                }
                const float u = (glyph.u0 + px * (glyph.u1 - glyph.u0)) * static_cast<float>(font_->width);
                const float v = (glyph.v0 + py * (glyph.v1 - glyph.v0)) * static_cast<float>(font_->height);
                float& covered = cover[static_cast<std::size_t>(y * picture.Width() + x)];
                covered += (1 - covered) * font_->Sample(u, v);
            }
        }
        left += glyph.xadvance;
        rest += used;
        bytes -= used;
    }
    const auto mix = [](int from, int to, float share) {
        return static_cast<int>(std::lround(static_cast<float>(from) + static_cast<float>(to - from) * share));
    };
    for (int y = 0; y < picture.Height(); ++y) {
        for (int x = 0; x < picture.Width(); ++x) {
            const float share = cover[static_cast<std::size_t>(y * picture.Width() + x)];
            picture.Set({x, y}, {mix(paper.r, ink.r, share), mix(paper.g, ink.g, share), mix(paper.b, ink.b, share)});
        }
    }
    return picture;
}

}  // namespace gui

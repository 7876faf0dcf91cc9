#include "features/face/portrait.h"

#include <cstddef>
#include <iterator>

#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#include <stb/stb_image_write.h>

namespace orvi_sim {
namespace {

constexpr int SIZE = 96;

struct Colour {
    uint8_t red;
    uint8_t green;
    uint8_t blue;
};

constexpr Colour SKINS[] = {{255, 219, 190}, {241, 194, 150}, {224, 172, 120}, {198, 134, 84}, {141, 85, 50}};
constexpr Colour HAIRS[] = {{40, 30, 25},    {90, 56, 30},    {150, 100, 50},
                            {214, 180, 110}, {160, 160, 165}, {140, 50, 30}};
constexpr Colour DARK = {30, 30, 35};
constexpr Colour WHITE = {250, 250, 250};
constexpr Colour LIPS = {180, 70, 70};

// Spreads neighbouring numbers over all bits.
uint32_t Mix(uint32_t value) {
    value = (value ^ (value >> 16)) * 0x7feb352dU;
    value = (value ^ (value >> 15)) * 0x846ca68bU;
    return value ^ (value >> 16);
}

class Canvas {
 public:
    explicit Canvas(Colour background) : pixels_(size_t{SIZE} * SIZE * 3) {
        FillEllipse(SIZE / 2, SIZE / 2, SIZE, SIZE, background);
    }

    // The part of an ellipse between two rows.
    void FillEllipse(int centerX, int centerY, int radiusX, int radiusY, Colour colour, int top = 0,
                     int bottom = SIZE) {
        for (int y = top; y < bottom; ++y) {
            for (int x = 0; x < SIZE; ++x) {
                const int dx = (x - centerX) * radiusY;
                const int dy = (y - centerY) * radiusX;
                if (dx * dx + dy * dy <= radiusX * radiusX * radiusY * radiusY) {
                    Set(x, y, colour);
                }
            }
        }
    }

    Payload Png() const {
        Payload png;
        stbi_write_png_to_func(
            [](void* context, void* data, int size) {
                const auto* const bytes = static_cast<const uint8_t*>(data);
                static_cast<Payload*>(context)->assign(bytes, bytes + size);
            },
            &png, SIZE, SIZE, 3, pixels_.data(), SIZE * 3);
        return png;
    }

 private:
    void Set(int x, int y, Colour colour) {
        uint8_t* const pixel = &pixels_[(static_cast<size_t>(y) * SIZE + static_cast<size_t>(x)) * 3];
        pixel[0] = colour.red;
        pixel[1] = colour.green;
        pixel[2] = colour.blue;
    }

    Payload pixels_;
};

}  // namespace

Payload DrawPortrait(uint32_t number) {
    const uint32_t traits = Mix(number);
    // The background shows the lowest twelve bits, so that no two neighbours share a picture.
    const Colour background = {static_cast<uint8_t>(96 + (number % 16) * 8),
                               static_cast<uint8_t>(96 + (number / 16 % 16) * 8),
                               static_cast<uint8_t>(96 + (number / 256 % 16) * 8)};
    const Colour skin = SKINS[traits % std::size(SKINS)];
    const Colour hair = HAIRS[traits / 8 % std::size(HAIRS)];
    const Colour shirt = {static_cast<uint8_t>(traits >> 8), static_cast<uint8_t>(traits >> 16),
                          static_cast<uint8_t>(traits >> 24)};
    const int headWidth = 24 + static_cast<int>(traits >> 6 & 3);
    const int eyeGap = 9 + static_cast<int>(traits >> 12 & 3);
    const int hairLine = 30 + static_cast<int>(traits >> 20 & 7);

    Canvas canvas(background);
    canvas.FillEllipse(48, 100, 40, 26, shirt);
    canvas.FillEllipse(48, 46, headWidth + 3, 34, hair);
    canvas.FillEllipse(48, 50, headWidth, 31, skin, hairLine);
    for (const int side : {-1, 1}) {
        canvas.FillEllipse(48 + side * eyeGap, 48, 5, 3, WHITE);
        canvas.FillEllipse(48 + side * eyeGap, 48, 2, 2, DARK);
    }
    canvas.FillEllipse(48, 66, 9, 4, LIPS, (traits >> 28 & 1) != 0 ? 66 : 64);
    return canvas.Png();
}

Payload DrawPortrait(std::string_view name) {
    uint32_t number = 2166136261U;
    for (const char letter : name) {
        number = (number ^ static_cast<unsigned char>(letter)) * 16777619U;
    }
    return DrawPortrait(number);
}

}  // namespace orvi_sim

#include "DrawnText.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>

#include "ToolkitError.h"

namespace Korvane {

namespace {

template <typename T>
using Object = std::unique_ptr<T, void (*)(gpointer)>;

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;
using Font = std::unique_ptr<PangoFontDescription, decltype(&pango_font_description_free)>;

constexpr int kMargin = 3;

Surface MakeSurface(int width, int height) {
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_A8, width, height), &cairo_surface_destroy);
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
        throw qvox::ToolkitError(std::string("A text cannot be drawn: ") +
                                 cairo_status_to_string(cairo_surface_status(surface.get())));
    }
    return surface;
}

Object<PangoLayout> MakeLayout(cairo_t* context, const std::string& text, int heightPx) {
    Object<PangoLayout> layout(pango_cairo_create_layout(context), &g_object_unref);
    const Font font(pango_font_description_new(), &pango_font_description_free);
    pango_font_description_set_family(font.get(), "Sans");
    pango_font_description_set_weight(font.get(), PANGO_WEIGHT_BOLD);
    pango_font_description_set_absolute_size(font.get(), double{PANGO_SCALE} * heightPx);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
    return layout;
}

}  // namespace

TextMask DrawText(const std::string& text, int heightPx) {
    // The library's map of fonts is one for each thread, and what it finds of a machine's fonts is shared.
    static std::mutex drawing;
    const std::lock_guard<std::mutex> lock(drawing);
    const Surface probe = MakeSurface(1, 1);
    const Context measuring(cairo_create(probe.get()), &cairo_destroy);
    TextMask mask;
    mask.margin = kMargin;
    pango_layout_get_pixel_size(MakeLayout(measuring.get(), text, heightPx).get(), &mask.extent.width,
                                &mask.extent.height);
    mask.width = mask.extent.width + 2 * kMargin;
    mask.height = mask.extent.height + 2 * kMargin;
    const Surface surface = MakeSurface(mask.width, mask.height);
    const Context context(cairo_create(surface.get()), &cairo_destroy);
    cairo_move_to(context.get(), kMargin, kMargin);
    pango_cairo_show_layout(context.get(), MakeLayout(context.get(), text, heightPx).get());
    cairo_surface_flush(surface.get());
    const unsigned char* const pixels = cairo_image_surface_get_data(surface.get());
    const auto stride = static_cast<std::ptrdiff_t>(cairo_image_surface_get_stride(surface.get()));
    for (std::ptrdiff_t y = 0; y < mask.height; ++y) {
        for (std::ptrdiff_t x = 0; x < mask.width; ++x)
            mask.coverage.insert(mask.coverage.end(), 3, pixels[y * stride + x]);
    }
    const auto isCovered = [](std::uint8_t coverage) { return coverage != 0; };
    if (std::none_of(mask.coverage.begin(), mask.coverage.end(), isCovered)) {
        throw qvox::ToolkitError("No text can be drawn: no font is installed (package fonts-dejavu-core has some).");
    }
    return mask;
}

}  // namespace Korvane

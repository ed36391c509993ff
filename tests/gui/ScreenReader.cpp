#include "ScreenReader.h"

#include <stdexcept>

#include <wx/utils.h>

#include "WindowLibrary.h"

// Last: its names are common words.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace korvane_test {

Korvane::ColourPicture ReadScreen(int x, int y, unsigned width, unsigned height) {
    auto* const display = static_cast<Display*>(wxGetDisplay());
    OfLibrary<int(Display*, int)>("XSync")(display, 0);
    const Window root = OfLibrary<Window(Display*)>("XDefaultRootWindow")(display);
    auto* const get =
        OfLibrary<XImage*(Display*, Drawable, int, int, unsigned, unsigned, unsigned long, int)>("XGetImage");
    XImage* const image = get(display, root, x, y, width, height, ~0ul, ZPixmap);
    if (image == nullptr) throw std::runtime_error("the screen cannot be read");
    Korvane::ColourPicture picture;
    picture.Resize(width, height, 1);
    for (unsigned row = 0; row < height; ++row) {
        for (unsigned column = 0; column < width; ++column) {
            const unsigned long pixel = image->f.get_pixel(image, static_cast<int>(column), static_cast<int>(row));
            picture(column, row) = {static_cast<std::uint8_t>(pixel >> 16), static_cast<std::uint8_t>(pixel >> 8),
                                    static_cast<std::uint8_t>(pixel)};
        }
    }
    image->f.destroy_image(image);
    return picture;
}

}  // namespace korvane_test

#include "ProgramIcon.h"

#include <wx/bmpbndl.h>
#include <wx/icon.h>

#include "IconDrawing.h"

namespace Korvane {

wxIconBundle ProgramIcons() {
    wxIconBundle icons;
#ifdef wxHAS_SVG
    const wxBitmapBundle drawing = wxBitmapBundle::FromSVG(kIconDrawing, wxSize(128, 128));
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        const wxBitmap bitmap = drawing.GetBitmap(wxSize(size, size));
        if (!bitmap.IsOk()) continue;
        wxIcon icon;
        icon.CopyFromBitmap(bitmap);
        icons.AddIcon(icon);
    }
#endif
    return icons;
}

}  // namespace Korvane

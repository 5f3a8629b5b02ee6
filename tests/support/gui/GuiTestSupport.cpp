// GuiTestSupport.cpp: the helpers of GuiTestSupport.h.
#include "GuiTestSupport.h"

#include <FL/fl_draw.H>
#include <FL/x.H>
#include <set>

namespace guitest {

// The widget the backend made for `item`: it carries the item as its user data.
Fl_Widget* WidgetOf(Fl_Window& window, const DG::Item& item) {
    for (int index = 0; index < window.children(); ++index) {
        if (window.child(index)->user_data() == static_cast<const void*>(&item)) {
            return window.child(index);
        }
    }
    return nullptr;
}

Fl_Widget* ChildLabelled(Fl_Window& window, const std::string& label) {
    for (int index = 0; index < window.children(); ++index) {
        const char* text = window.child(index)->label();
        if (text != nullptr && label == text) {
            return window.child(index);
        }
    }
    return nullptr;
}

// True once the X server shows the window: before, there is nothing to read back.
bool IsOnScreen(Fl_Window& window) {
    XWindowAttributes attributes{};
    return window.shown() && XGetWindowAttributes(fl_display, fl_xid(&window), &attributes) != 0 &&
           attributes.map_state == IsViewable;
}

// Draws the window, reads its pixels back and writes them as a PNG to `file`; the number
// of distinct colours, 0 when nothing could be read or written.
size_t Screenshot(Fl_Window& window, const std::filesystem::path& file) {
    window.redraw();
    Fl::flush();
    window.make_current();
    const int width = window.w();
    const int height = window.h();
    uchar* pixels = fl_read_image(nullptr, 0, 0, width, height);
    if (pixels == nullptr) {
        return 0;
    }
    std::set<uint32_t> seen;
    for (int at = 0; at < width * height; ++at) {
        const uchar* pixel = pixels + at * 3;
        seen.insert(uint32_t{pixel[0]} << 16 | uint32_t{pixel[1]} << 8 | pixel[2]);
    }
    std::filesystem::create_directories(file.parent_path());
    const bool written = presentation::WritePng(file.string(), pixels, width, height, 3);
    delete[] pixels;
    return written ? seen.size() : 0;
}

}  // namespace guitest

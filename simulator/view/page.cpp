#include "view/page.h"

#include <algorithm>
#include <iterator>

namespace orvi_sim {
namespace {

// Each by the build from page/NAME.
constexpr unsigned char PAGE[] = {
#include "view_index.html.inc"
};
constexpr unsigned char STYLE[] = {
#include "view_room.css.inc"
};
constexpr unsigned char ICON[] = {
#include "view_icon.svg.inc"
};
constexpr unsigned char PROGRAM[] = {
#include "view_room.js.inc"
};

template <size_t SIZE>
std::string_view AsText(const unsigned char (&bytes)[SIZE]) {
    return {reinterpret_cast<const char*>(bytes), SIZE};
}

const PageFile FILES[] = {
    {"", "text/html; charset=utf-8", AsText(PAGE)},
    {"icon.svg", "image/svg+xml", AsText(ICON)},
    {"room.css", "text/css; charset=utf-8", AsText(STYLE)},
    {"room.js", "text/javascript; charset=utf-8", AsText(PROGRAM)},
};

}  // namespace

const PageFile* FindPageFile(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(FILES), std::end(FILES), [name](const PageFile& file) { return file.name == name; });
    return found != std::end(FILES) ? found : nullptr;
}

}  // namespace orvi_sim

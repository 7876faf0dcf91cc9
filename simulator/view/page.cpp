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
constexpr unsigned char PLAYER[] = {
#include "view_recorded.js.inc"
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

std::string RecordedPage(const std::string& session) {
    std::string page(AsText(PAGE));
    const auto put = [&page](std::string_view place, const std::string& content) {
        page.replace(page.find(place), place.size(), content);
    };
    put("<link rel=\"icon\" href=\"icon.svg\">\n",
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src 'unsafe-inline'; "
        "style-src 'unsafe-inline'\">\n");
    put("<link rel=\"stylesheet\" href=\"room.css\">", "<style>\n" + std::string(AsText(STYLE)) + "</style>");
    std::string data;
    for (const char c : session) {
        data += c == '<' ? "\\u003c" : std::string(1, c);  // no text ends the element that it stands in
    }
    put("<script type=\"module\" src=\"room.js\"></script>",
        "<script type=\"application/json\" id=\"recorded\">" + data + "</script>\n<script type=\"module\">\n" +
            std::string(AsText(PROGRAM)) + std::string(AsText(PLAYER)) + "</script>");
    return page;
}

const PageFile* FindPageFile(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(FILES), std::end(FILES), [name](const PageFile& file) { return file.name == name; });
    return found != std::end(FILES) ? found : nullptr;
}

}  // namespace orvi_sim

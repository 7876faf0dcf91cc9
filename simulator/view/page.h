// The files of the page, which are compiled into the program.
#ifndef ORVI_SIM_VIEW_PAGE_H
#define ORVI_SIM_VIEW_PAGE_H

#include <string>
#include <string_view>

namespace orvi_sim {

struct PageFile {
    std::string_view name;  // in the address; of the page itself empty
    const char* type;
    std::string_view content;
};

// Null when the page has no such file.
const PageFile* FindPageFile(std::string_view name);

// The page for a session that was recorded, in one file that loads nothing. `session` is JSON: "revealed", whether private
// contents are in it, and "messages", the objects that orvi-bus print --json prints.
std::string RecordedPage(const std::string& session);

}  // namespace orvi_sim

#endif

// The files of the page, which are compiled into the program.
#ifndef ORVI_SIM_VIEW_PAGE_H
#define ORVI_SIM_VIEW_PAGE_H

#include <string_view>

namespace orvi_sim {

struct PageFile {
    std::string_view name;  // in the address; of the page itself empty
    const char* type;
    std::string_view content;
};

// Null when the page has no such file.
const PageFile* FindPageFile(std::string_view name);

}  // namespace orvi_sim

#endif

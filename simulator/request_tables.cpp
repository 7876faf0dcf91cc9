#include "request_tables.h"

#include <cstdlib>
#include <unordered_map>

#include "log.h"

namespace orvi_sim {
namespace {

using Index = std::unordered_map<uint32_t, const RequestRow*>;

Index BuildIndex() {
    Index index;
    for (const RequestTable& table :
         {ConnectionRequests(), FaceRequests(), CaptionRequests(), NameplateRequests(), DirectorRequests(),
          CheckinRequests(), MinutesRequests(), LargeModelRequests(), AssistantRequests()}) {
        for (size_t i = 0; i < table.count; ++i) {
            if (!index.emplace(table.rows[i].id, &table.rows[i]).second) {
                Log("two rows for request %#x", table.rows[i].id);
                std::abort();
            }
        }
    }
    return index;
}

}  // namespace

const RequestRow* FindRequest(uint32_t id) {
    static const Index index = BuildIndex();
    const auto found = index.find(id);
    return found != index.end() ? found->second : nullptr;
}

}  // namespace orvi_sim

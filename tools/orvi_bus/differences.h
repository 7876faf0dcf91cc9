// What a replay saw that was not recorded, and the other way round.
#ifndef ORVI_BUS_TOOL_DIFFERENCES_H
#define ORVI_BUS_TOOL_DIFFERENCES_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "recorded_session.h"
#include "show.h"

namespace orvi_bus_tool {

// Not for several threads at once.
class Differences {
 public:
    // `allowed` are fields that may differ: "speaker", "faces[].score".
    Differences(std::vector<std::string> allowed, Display display) : allowed_(std::move(allowed)), display_(display) {}

    // Texts that differ by nature: where `recorded` stood now `seen` may stand, a name of a process or of a task.
    void MayStandFor(const std::string& recorded, const std::string& seen) { names_[recorded] = seen; }

    // Compares the fields of what was recorded with what was seen; `which` tells people what it is of.
    void Compare(const std::string& which, const orvi_protocol::Record* layout, const Contents& recorded,
                 const Contents& seen);
    void Add(const std::string& which, const std::string& what);

    // What is said today where `recorded` was said: a value of an allowed field is what the other side gave instead, so
    // that it knows its own numbers again.
    Contents Today(const orvi_protocol::Record* layout, const Contents& recorded) const;

    size_t Count() const { return count_; }
    std::string Take();  // the lines that have not been taken yet

 private:
    static constexpr size_t MOST_TOLD = 1000;

    bool IsTold();  // counts it
    bool IsAllowed(const std::string& path) const;
    void AddField(const std::string& which, const std::string& path, const std::string& recorded,
                  const std::string& seen);

    const std::vector<std::string> allowed_;
    const Display display_;
    std::map<std::string, std::string> names_;
    std::map<std::string, std::map<std::string, std::string>> given_;  // of allowed fields: recorded and seen values
    size_t count_ = 0;
    std::string lines_;
};

// Null for what the table does not know.
const orvi_protocol::Record* LayoutOfReply(const Step& step, const Contents& reply);

// False when no message of the table has such a field.
bool IsField(const std::string& path);

// The value that stands at the same place as `text` stood in what was recorded; empty when it stood nowhere.
std::string StandsFor(const std::string& text, const orvi_protocol::Record* layout, const Contents& recorded,
                      const Contents& seen);

}  // namespace orvi_bus_tool

#endif

// The wire as it was promised: ids, tasks, waits and the layout of every record, compared with abi/wire.txt. A device's
// service is built apart, so a change of a line there is a break, a new line is not.
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>

#include "message.h"
#include "read_file.h"

namespace {

using orvi_protocol::Field;
using orvi_protocol::Message;
using orvi_protocol::Record;

// Records in the order of their first use, each once.
void Write(std::ostream& out, const Record* record, std::set<const Record*>& known) {
    if (record == nullptr || !known.insert(record).second) {
        return;
    }
    for (const Field& field : record->fields) {
        Write(out, field.record, known);
    }
    out << "record " << record->name << " bytes " << record->shortest << ".." << record->longest << "\n";
    for (const Field& field : record->fields) {
        out << "  " << record->name << "." << (field.record != nullptr ? field.record->name : "") << "/" << field.name
            << " at " << field.offset << " size " << field.size << " each " << field.each << " type "
            << static_cast<int>(field.type) << " extent " << static_cast<int>(field.extent)
            << (field.isSigned ? " signed" : "") << (field.isList ? " list" : "") << "\n";
    }
}

std::string Wire() {
    std::ostringstream out;
    std::set<const Record*> known;
    for (const Message* message : orvi_protocol::AllMessages()) {
        const auto name = [](const Record* record) { return record != nullptr ? record->name : "-"; };
        Write(out, message->payload, known);
        Write(out, message->reply, known);
        out << "message 0x" << std::hex << message->id << std::dec << " " << message->name << " "
            << orvi_protocol::DirectionWord(message->direction) << " task " << message->task << " wait "
            << message->waitMs << " payload " << name(message->payload) << " reply " << static_cast<int>(message->rule)
            << " " << name(message->reply) << " event " << message->eventId << "\n";
    }
    return out.str();
}

TEST(WireBaseline, IdsAndRecordsAreThosePromised) {
    const std::string wire = Wire();
    if (const char* const path = std::getenv("ORVI_WRITE_WIRE_BASELINE")) {
        std::ofstream(path) << wire;
    }
    EXPECT_EQ(wire, orvi_test::ReadFile(ORVI_SOURCE_DIR "/abi/wire.txt")) << "./dev abi writes the file anew";
}

}  // namespace

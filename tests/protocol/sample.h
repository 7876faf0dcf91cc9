// Settings that give every field of a record a value within its bounds, for tests that go over the whole table.
#ifndef ORVI_TEST_PROTOCOL_SAMPLE_H
#define ORVI_TEST_PROTOCOL_SAMPLE_H

#include <algorithm>
#include <string>
#include <vector>

#include "value.h"

namespace orvi_test {

inline void AddSample(const orvi_protocol::Record& record, const std::string& prefix,
                      std::vector<orvi_protocol::Setting>& settings) {
    using orvi_protocol::Type;
    const auto isCounter = [&record](const orvi_protocol::Field& field) {
        return std::any_of(record.fields.begin(), record.fields.end(),
                           [&field](const orvi_protocol::Field& other) { return other.counter == field.name; });
    };
    for (const orvi_protocol::Field& field : record.fields) {
        if (field.name.empty()) {
            AddSample(*field.record, prefix, settings);
            continue;
        }
        if (field.holdsLength || isCounter(field) || field.type == Type::Reserved) {
            continue;
        }
        for (int i = 0; i < (field.isList ? 2 : 1); ++i) {
            const std::string path =
                prefix + std::string(field.name) + (field.isList ? "[" + std::to_string(i) + "]" : "");
            switch (field.type) {
                case Type::Record:
                    AddSample(*field.record, path + ".", settings);
                    break;
                case Type::Text:
                    settings.push_back({path, "a " + std::string(field.name)});
                    break;
                case Type::Bytes:
                    settings.push_back({path, i == 0 ? "hex:00ff7f0a2a" : "text:abc"});
                    break;
                default:  // negative where that can be
                    settings.push_back({path, std::to_string(field.least < 0 ? -7 - i : field.most - i % 2)});
            }
        }
    }
}

inline std::vector<orvi_protocol::Setting> Sample(const orvi_protocol::Record* record) {
    std::vector<orvi_protocol::Setting> settings;
    if (record != nullptr) {
        AddSample(*record, "", settings);
    }
    return settings;
}

// Every record of the table once.
inline std::vector<const orvi_protocol::Record*> AllRecords() {
    std::vector<const orvi_protocol::Record*> records;
    for (const orvi_protocol::Message* message : orvi_protocol::AllMessages()) {
        for (const orvi_protocol::Record* record : {message->payload, message->reply, message->refusal}) {
            if (record != nullptr && std::find(records.begin(), records.end(), record) == records.end()) {
                records.push_back(record);
            }
        }
    }
    return records;
}

}  // namespace orvi_test

#endif

#include "statistics.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace orvi_bus_tool {
namespace {

float At(const std::vector<float>& sorted, double share) {
    return sorted[std::min(sorted.size() - 1, static_cast<size_t>(share * static_cast<double>(sorted.size())))];
}

}  // namespace

void Statistics::Add(const Exchange& exchange) {
    Row& row = rows_[exchange.Name()];
    row.count += exchange.isLate ? 0 : 1;  // it has been counted when it was shown without its answer
    const std::string verdict = exchange.Verdict();
    const bool hasEnded = verdict != "unanswered" && verdict != "answered";  // else how it ends is not known yet
    row.failed += hasEnded && verdict != "ok" ? 1 : 0;
    if (exchange.answered && row.ms.size() < MOST_SAMPLES) {
        row.ms.push_back(static_cast<float>(exchange.RoundTripMs()));
    }
}

std::string Statistics::Table() const {
    std::vector<std::pair<std::string, Row>> rows(rows_.begin(), rows_.end());
    for (auto& [name, row] : rows) {
        std::sort(row.ms.begin(), row.ms.end());
    }
    std::stable_sort(rows.begin(), rows.end(), [](const auto& left, const auto& right) {
        const auto worst = [](const Row& row) { return row.ms.empty() ? -1.0F : row.ms.back(); };
        return worst(left.second) > worst(right.second);
    });
    char line[160];
    std::snprintf(line, sizeof(line), "%-24s %8s %8s %12s %12s %12s\n", "message", "count", "failed", "median ms",
                  "99 % ms", "worst ms");
    std::string table = line;
    for (const auto& [name, row] : rows) {
        std::snprintf(line, sizeof(line), "%-24s %8llu %8llu", name.c_str(), static_cast<unsigned long long>(row.count),
                      static_cast<unsigned long long>(row.failed));
        table += line;
        if (!row.ms.empty()) {
            std::snprintf(line, sizeof(line), " %12.3f %12.3f %12.3f", static_cast<double>(At(row.ms, 0.5)),
                          static_cast<double>(At(row.ms, 0.99)), static_cast<double>(row.ms.back()));
            table += line;
        }
        table += '\n';
    }
    return table;
}

}  // namespace orvi_bus_tool

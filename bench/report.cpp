#include "report.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace bench {

namespace {

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

std::string About(const Results& results) {
    std::string text = Format("%u slots of all peers one after the other; %u thrown away because of other load",
                              results.slots, results.thrownAway);
    if (results.disturbed != 0) {
        text += Format("; %u count though the third attempt was disturbed, too", results.disturbed);
    }
    if (!results.leftOut.empty()) {
        text += "; left out: " + results.leftOut;
    }
    return text + ".\n";
}

double LeastRatio(const Results& results, bool most) {
    double limit = 1;
    for (const Cell& cell : results.cells) {
        if (cell.measured && cell.ratio > 0) {
            limit = most ? std::max(limit, cell.ratio) : std::min(limit, cell.ratio);
        }
    }
    return limit;
}

}  // namespace

std::string AsText(const Results& results) {
    std::string text;
    for (uint32_t placement = 0; placement < kPlacementCount; ++placement) {
        for (uint32_t shape = 0; shape < kShapeCount; ++shape) {
            text += Format("%s, %s\n  %-14s %8s %10s %10s %12s %12s %8s\n", kShapes[shape].name,
                           kPlacements[placement].name, "", "ratio", "median us", "p99 us", "client CPU", "service CPU",
                           "allocs");
            for (size_t peer = 0; peer < results.peers.size(); ++peer) {
                const Cell& cell = results.At(peer, shape, placement);
                if (cell.measured) {
                    text += Format("  %-14s %8.2f %10.2f %10.2f %12.2f %12.2f %8.1f\n", results.peers[peer].c_str(),
                                   cell.ratio, cell.medianUs, cell.p99Us, cell.clientCpuUs, cell.serviceCpuUs,
                                   cell.allocations);
                } else {
                    text += Format("  %-14s failed\n", results.peers[peer].c_str());
                }
            }
        }
    }
    return text + About(results);
}

std::string AsJson(const Results& results) {
    nlohmann::ordered_json all = {{"slots", results.slots},
                                  {"thrownAway", results.thrownAway},
                                  {"disturbed", results.disturbed},
                                  {"leftOut", results.leftOut},
                                  {"cells", nlohmann::ordered_json::array()}};
    for (size_t peer = 0; peer < results.peers.size(); ++peer) {
        for (uint32_t shape = 0; shape < kShapeCount; ++shape) {
            for (uint32_t placement = 0; placement < kPlacementCount; ++placement) {
                const Cell& cell = results.At(peer, shape, placement);
                if (cell.measured) {
                    all["cells"].push_back({{"peer", results.peers[peer]},
                                            {"shape", kShapes[shape].name},
                                            {"placement", kPlacements[placement].name},
                                            {"ratio", cell.ratio},
                                            {"medianUs", cell.medianUs},
                                            {"p99Us", cell.p99Us},
                                            {"clientCpuUs", cell.clientCpuUs},
                                            {"serviceCpuUs", cell.serviceCpuUs},
                                            {"allocations", cell.allocations}});
                }
            }
        }
    }
    return all.dump(2) + "\n";
}

std::string AsMarkdown(const Results& results) {
    std::string text;
    for (uint32_t placement = 0; placement < kPlacementCount; ++placement) {
        text += Format("%s, ratio of the medians to SEQPACKET (median in microseconds):\n\n| shape |",
                       kPlacements[placement].name);
        std::string line = "|---|";
        for (const std::string& peer : results.peers) {
            text += " " + peer + " |";
            line += "---|";
        }
        text += "\n" + line + "\n";
        for (uint32_t shape = 0; shape < kShapeCount; ++shape) {
            text += Format("| %s |", kShapes[shape].name);
            for (size_t peer = 0; peer < results.peers.size(); ++peer) {
                const Cell& cell = results.At(peer, shape, placement);
                text += cell.measured ? Format(" %.2f (%.1f) |", cell.ratio, cell.medianUs) : " failed |";
            }
            text += "\n";
        }
        text += "\n";
    }
    text +=
        "The library by itself, in microseconds, and allocations of both processes:\n\n"
        "| shape | placement | median | 99th percentile | CPU of the client | CPU of the service | allocations |\n"
        "|---|---|---|---|---|---|---|\n";
    for (uint32_t shape = 0; shape < kShapeCount && !results.peers.empty(); ++shape) {
        for (uint32_t placement = 0; placement < kPlacementCount; ++placement) {
            const Cell& cell = results.At(0, shape, placement);
            text += Format("| %s | %s | %.1f | %.1f | %.1f | %.1f | %.1f |\n", kShapes[shape].name,
                           kPlacements[placement].name, cell.medianUs, cell.p99Us, cell.clientCpuUs, cell.serviceCpuUs,
                           cell.allocations);
        }
    }
    return text + "\n" + About(results);
}

std::string AsSvg(const Results& results) {
    constexpr const char* kColours[] = {"#d62728", "#000000", "#7f7f7f", "#2ca02c", "#1f77b4",
                                        "#9467bd", "#ff7f0e", "#8c564b", "#e377c2", "#17becf"};
    constexpr double kLeft = 60, kTop = 50, kHeight = 380, kStep = 44, kGap = 24;
    const double width = kLeft + kPlacementCount * (kShapeCount * kStep + kGap) + 140;
    const double least = std::log(LeastRatio(results, false) * 0.9);
    const double most = std::log(LeastRatio(results, true) * 1.1);
    const auto y = [&](double ratio) { return kTop + kHeight * (most - std::log(ratio)) / (most - least); };
    std::string svg = Format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" font-family=\"sans-serif\" "
        "font-size=\"11\">\n"
        "<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n<text x=\"%.0f\" y=\"20\" font-size=\"14\">Time "
        "relative "
        "to blocking SEQPACKET calls, by shape (logarithmic; lower is better)</text>\n",
        width, kTop + kHeight + 150, kLeft);
    for (const double ratio : {0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 50.0, 100.0}) {
        if (std::log(ratio) >= least && std::log(ratio) <= most) {
            svg += Format(
                "<line x1=\"%.0f\" x2=\"%.0f\" y1=\"%.1f\" y2=\"%.1f\" stroke=\"%s\"/><text x=\"%.0f\" y=\"%.1f\" "
                "text-anchor=\"end\">%g</text>\n",
                kLeft, width - 130, y(ratio), y(ratio), ratio == 1.0 ? "#000" : "#ddd", kLeft - 6, y(ratio) + 4, ratio);
        }
    }
    for (uint32_t placement = 0; placement < kPlacementCount; ++placement) {
        const double begin = kLeft + placement * (kShapeCount * kStep + kGap);
        svg += Format("<text x=\"%.0f\" y=\"%.0f\" font-weight=\"bold\">%s</text>\n", begin + 10, kTop - 8,
                      kPlacements[placement].name);
        for (uint32_t shape = 0; shape < kShapeCount; ++shape) {
            const double x = begin + (shape + 0.5) * kStep;
            svg += Format("<text transform=\"translate(%.0f,%.0f) rotate(60)\">%s</text>\n", x - 4, kTop + kHeight + 12,
                          kShapes[shape].name);
            for (size_t peer = results.peers.size(); peer-- > 0;) {
                const Cell& cell = results.At(peer, shape, placement);
                if (cell.measured && cell.ratio > 0) {
                    svg += Format("<circle cx=\"%.0f\" cy=\"%.1f\" r=\"%d\" fill=\"%s\"/>\n", x, y(cell.ratio),
                                  peer == 0 ? 6 : 4, kColours[peer % 10]);
                }
            }
        }
    }
    for (size_t peer = 0; peer < results.peers.size(); ++peer) {
        const double at = kTop + 10 + 18 * static_cast<double>(peer);
        svg += Format("<circle cx=\"%.0f\" cy=\"%.0f\" r=\"5\" fill=\"%s\"/><text x=\"%.0f\" y=\"%.0f\">%s</text>\n",
                      width - 115, at, kColours[peer % 10], width - 104, at + 4, results.peers[peer].c_str());
    }
    return svg + "</svg>\n";
}

}  // namespace bench

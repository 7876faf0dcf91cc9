// orvi-bench-peers: the library beside other ways to carry the same messages.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "report.h"

namespace {

bool WriteFile(const std::string& path, const std::string& content) {
    if (path == "-") {
        return fputs(content.c_str(), stdout) >= 0;
    }
    std::ofstream file(path);
    file << content << std::flush;
    if (!file) {
        (void)fprintf(stderr, "orvi-bench-peers: cannot write %s\n", path.c_str());
    }
    return static_cast<bool>(file);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Compares the library's calls with other ways to carry the same messages between two processes.",
                 "orvi-bench-peers"};
    bench::Options options;
    std::string json;
    std::string svg;
    std::string markdown;
    app.add_option("--rounds", options.rounds, "turns that each peer has at each shape")
        ->check(CLI::Range(1U, 1000U))
        ->capture_default_str();
    app.add_option("--turn", options.turnMs, "length of a turn in milliseconds")
        ->check(CLI::Range(1U, 1000U))
        ->capture_default_str();
    app.add_option("--others", options.othersShare,
                   "share of the machine that other load may have in a slot that counts")
        ->check(CLI::Range(0.0, 1.0))
        ->capture_default_str();
    app.add_option("--only", options.only, "these peers, beside SEQPACKET, with which they are compared");
    app.add_option("--json", json, "write the results as JSON to a file; - is the standard output");
    app.add_option("--svg", svg, "draw the ratios to a file");
    app.add_option("--markdown", markdown, "write the tables for a page to a file");
    CLI11_PARSE(app, argc, argv);
    (void)setenv("ORVI_LOG_LEVEL", "error", 1);
    const bench::Results results = bench::Compare(options);
    if (results.peers.empty()) {
        return 1;
    }
    bool written = json == "-" || fputs(bench::AsText(results).c_str(), stdout) >= 0;
    written = (json.empty() || WriteFile(json, bench::AsJson(results))) && written;
    written = (svg.empty() || WriteFile(svg, bench::AsSvg(results))) && written;
    written = (markdown.empty() || WriteFile(markdown, bench::AsMarkdown(results))) && written;
    return written ? 0 : 1;
}

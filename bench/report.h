// The comparison's results for people, programs and pages.
#ifndef ORVI_BENCH_REPORT_H
#define ORVI_BENCH_REPORT_H

#include <string>

#include "comparison.h"

namespace bench {

std::string AsText(const Results& results);
std::string AsJson(const Results& results);
std::string AsMarkdown(const Results& results);
// A drawing: a group of points for each shape and placement, a point for each peer, by its ratio.
std::string AsSvg(const Results& results);

}  // namespace bench

#endif

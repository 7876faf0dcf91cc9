// Pictures of people who do not exist.
#ifndef ORVI_SIM_FEATURES_PORTRAIT_H
#define ORVI_SIM_FEATURES_PORTRAIT_H

#include <cstdint>
#include <string_view>

#include "payload.h"

namespace orvi_sim {

// A PNG image of 96 by 96 pixels, some kilobytes: a drawn face. The same number gives the same bytes, other numbers
// other colours and features.
Payload DrawPortrait(uint32_t number);

// The portrait of a name.
Payload DrawPortrait(std::string_view name);

}  // namespace orvi_sim

#endif

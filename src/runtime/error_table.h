// The one table of the error numbers Ravelin raises, with the description each carries
// when the raising code gives none. Language-level numbers (5, 6, 13, 53...) and the
// database engine's (3000...) are both here, so a report always has words.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace ravelin {

struct ErrorInfo {
  int32_t number;
  std::u16string_view description;
};

// Every number, ascending.
std::span<const ErrorInfo> ErrorTable();
// The entry of a number; nullptr for a number that is not in the table.
const ErrorInfo* FindError(int32_t number);

}  // namespace ravelin

// Delimiter-separated data-set text: the reader and the writer.
#pragma once

#include "data/data_set.h"

namespace orv {

// Whether the code can separate fields: 1-255, not a double quote, no white
// space other than tab and space.
bool csv_delimiter_ok(int delimiter);

// Reads a data set from a file or from text; throws the first cause.
orv_data_set_s *parse_data_set(bool is_file, const char *source, int delimiter, orv_error_handler_t handler,
                               void *data);

}  // namespace orv

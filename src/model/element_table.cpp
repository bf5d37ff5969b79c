#include "model/element_table.h"

namespace marvik {}  // namespace marvik

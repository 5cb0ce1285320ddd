#pragma once

#include "netweft/netweft.h"

#include <ostream>
#include <vector>

/// One line for each result, the best marked with a star.
void PrintTable(std::ostream& out, const std::vector<qx::IcmpHostStatRetriever::Result>& results, bool withHops);

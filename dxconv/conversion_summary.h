#pragma once

#include "dxconv/conversion_list.h"

#include <string>
#include <vector>

/// What has become of all files: a line of counts, and one for each failure. UTF-8.
std::string SummaryText(const std::vector<Conversion>& files);

/// The same as one JSON object in one line: the counts, and "files" with everything that is known of each.
/// What is not known of one that was not converted is null.
std::string SummaryJson(const std::vector<Conversion>& files);

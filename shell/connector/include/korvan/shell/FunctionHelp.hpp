// The metadata of a function file, read from the file itself by the language's convention:
//
//   function [m, s] = stats(v, w)      inputs v, w; outputs m, s
//   # stats(v, w): the mean and spread of v, weighted by w.     <- the summary
//   #   The rest of the comment block that follows the function
//   #   line is the description, one line per comment line.
//
// Blank lines and comments before the function line are skipped; the help block is the run of
// comment lines ("#" first, after spaces) right after it. A file without a function line has
// no metadata.
//
// Threads: pure functions.
#pragma once

#include <optional>
#include <string_view>

#include "korvan/services/connector/FunctionServiceCatalog.hpp"

namespace korvan::shell {

std::optional<korvan::services::connector::FunctionMetadata> parseFunctionHelp(
    std::string_view fileText);

}  // namespace korvan::shell

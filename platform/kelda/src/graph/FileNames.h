#pragma once

#include <string>

namespace kelda
{

/// Full path of the file that a relative name (either separator) means beside another file, if there is such
/// a regular file; otherwise the name as it is. `other`: a full path; empty: there is none.
std::string fileBeside(const std::string& other, const std::string& name);

} // namespace kelda

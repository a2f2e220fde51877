// The text file for a support ticket.
#ifndef KV500_CHECK_REPORT_H
#define KV500_CHECK_REPORT_H

#include <string>

#include "check/looks.h"

namespace check {

/// Findings, versions of program and system, config.txt and the last 50 lines of log.txt.
std::string composeReport(const Folder& folder, const Findings& findings, Language language);

/// Writes the file and replaces one of that name. False if it can't be written, if something other
/// than an ordinary file has that name, or if it is the service's own config.txt or log.txt.
bool writeReport(const std::string& path, const Folder& folder, const std::string& report);

}  // namespace check

#endif

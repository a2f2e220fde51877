// Findings as lines and as JSON.
#ifndef KV500_CHECK_OUTPUT_H
#define KV500_CHECK_OUTPUT_H

#include <string>

#include "check/finding.h"

namespace check {

/// One line per finding, with the advice on the next line.
std::string asLines(const Findings& findings, Language language);

/// An array of objects with the members id, level, text and advice (RFC 8259).
std::string asJson(const Findings& findings, Language language);

}  // namespace check

#endif

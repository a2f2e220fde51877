// The text of one HTTP request, and the query in its target.
//
// Pure functions of their arguments: any thread. Malformed input raises a plain text. White space
// is what isspace accepts in the default locale; bytes from 0x80 up are no white space.
#ifndef KV500_FRONTEND_HTTP_REQUEST_H
#define KV500_FRONTEND_HTTP_REQUEST_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kv500 {

/// A request as far as this service understands it: the first two words of the request line and the
/// header lines. The version is ignored. Lines after the first blank line are not read.
class HttpRequest {
 public:
  /// Raises "Invalid line in HTTP request ", the line, "!" for a request line of fewer than three
  /// words and for a header line without a colon or a blank. An empty text gives an empty request.
  explicit HttpRequest(const std::string& text);

  /// The first word, as sent; empty if there was no request line.
  std::string method() const { return method_; }
  /// The second word, not decoded.
  std::string target() const { return target_; }
  /// The header lines by names in lower case. Of several lines with one name the last one counts.
  const std::map<std::string, std::string>& headers() const { return headers_; }
  /// The values of all header lines named Host, in their order.
  const std::vector<std::string>& hosts() const { return hosts_; }

 private:
  void parseRequestLine(std::string_view line);
  void parseHeaderLine(std::string_view line);

  std::map<std::string, std::string> headers_;
  std::vector<std::string> hosts_;
  std::string method_;
  std::string target_;
};

/// Splits a query at "&" into pieces, and each piece into name and value at its first "=". Names
/// are decoded; values stay as sent. Of several pieces with one name the last one counts. Raises
/// "Invalid GET parameter!" for a piece without "=", and what urlDecode raises.
std::map<std::string, std::string> parseQueryParameters(const std::string& query);

/// Replaces each "%" and the two hexadecimal digits after it by the byte that they stand for, and
/// nothing else: "+" stays. Raises "Unexpected end of string!" and what hexPairToByte raises.
std::string urlDecode(const std::string& text);

/// The byte of two hexadecimal digits, the high four bits first. Raises "Invalid character!".
std::uint8_t hexPairToByte(char high, char low);

}  // namespace kv500

#endif

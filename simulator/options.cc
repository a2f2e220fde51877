#include "simulator/options.h"

#include <charconv>

namespace simulator {
namespace {

constexpr int longestApduTime = 600'000;  // Milliseconds.

std::chrono::milliseconds parseApduTime(const std::string& text) {
  int value = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || last != end || value < 0 || value > longestApduTime) {
    throw UsageError{"--apdu-ms takes a number of milliseconds from 0 to " +
                     std::to_string(longestApduTime) + ", not '" + text + "'"};
  }
  return std::chrono::milliseconds(value);
}

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    const std::string& option = *argument;
    const auto value = [&] {
      if (++argument == arguments.end()) {
        throw UsageError{option + " needs a value"};
      }
      return *argument;
    };
    if (option == "--help" || option == "-h") {
      options.help = true;
    } else if (option == "--unplugged") {
      options.unplugged = true;
    } else if (option == "--card") {
      options.cardFolder = value();
    } else if (option == "--trace") {
      options.traceFile = value();
    } else if (option == "--apdu-ms") {
      options.apduTime = parseApduTime(value());
    } else {
      throw UsageError{"unknown option '" + option + "'"};
    }
  }
  if (options.unplugged && options.cardFolder) {
    throw UsageError{"--card needs a reader, and --unplugged starts without one"};
  }
  return options;
}

std::string helpText() {
  return "Usage: kv500-simulator [--card FOLDER] [--unplugged] [--apdu-ms N] [--trace FILE]\n"
         "\n"
         "Runs the service in the foreground with a simulated card reader. It reads config.txt\n"
         "and writes log.txt beside itself, serves HTTP on 127.0.0.1 (port 5724 unless config.txt\n"
         "names another) and runs until quit, Ctrl-C or SIGTERM.\n"
         "\n"
         "Options:\n"
         "  --card FOLDER   start with the card that the folder describes in the reader\n"
         "  --unplugged     start without a reader\n"
         "  --apdu-ms N     each command takes N milliseconds on the card (default 0)\n"
         "  --trace FILE    append each command and response to FILE, in hexadecimal\n"
         "  --help          show this text\n"
         "\n"
         "Commands on standard input, a line each, answered by 'ok' or 'error: ' and the reason:\n"
         "  insert FOLDER   put the card that the folder describes into the first reader\n"
         "  remove          take the card out\n"
         "  plug            plug in one more reader\n"
         "  unplug          take the newest reader away, a card in it too\n"
         "  pcsc stop|start|break\n"
         "                  stop, start the smart-card service, or stop it for good\n"
         "  usb hide|show   whether the USB bus shows the readers\n"
         "  other lock|unlock\n"
         "                  another program takes the card for itself, gives it free again\n"
         "  other reset     another program resets the card\n"
         "  other exclusive on|off\n"
         "                  another program connects to the card alone, before the service has\n"
         "  quit            end\n"
         "\n"
         "Events on standard output, a line each:\n"
         "  listening 127.0.0.1:PORT   the port is open\n"
         "  notice TITLE | TEXT        a message box was shown (and counts as answered)\n"
         "  browser COMMANDLINE        the browser was started\n"
         "\n"
         "Exit status: 0 after quit, and after a failure of the smart-card service that it can't\n"
         "recover from; 1 if the service could not run (log.txt says why of both); 2 for a bad\n"
         "option or card folder; 3 if the service has used the machine wrongly, which is a fault\n"
         "of the program (standard error says how).\n";
}

}  // namespace simulator

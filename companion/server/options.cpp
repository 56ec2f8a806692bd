#include "companion/server/options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <set>
#include <string_view>
#include <system_error>

#include "companion/server/config_file.h"

namespace tovalin::server {
namespace {

// Takes a value into the options; false when it makes no sense.
using Take = bool (*)(Options& options, std::string_view value);

struct Setting {
  std::string_view name;    // without dashes
  std::string_view wanted;  // what the value must be, for the user
  Take take;
  bool isList = false;    // each mention adds to it
  bool isSwitch = false;  // a flag without a value; "yes" or "no" in a file
};

template <typename Number>
std::optional<Number> wholeNumber(std::string_view text) {
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// "ADDRESS:PORT" with an IPv6 address in brackets.
bool takePlace(ListenPlace& place, std::string_view text) {
  const auto colon = text.rfind(':');
  if (colon == std::string_view::npos) return false;
  std::string_view address = text.substr(0, colon);
  if (address.starts_with('[') && address.ends_with(']')) {
    address = address.substr(1, address.size() - 2);
  } else if (address.find(':') != std::string_view::npos) {
    return false;
  }
  const auto port = wholeNumber<uint16_t>(text.substr(colon + 1));
  if (address.empty() || !port) return false;
  place = {std::string(address), *port};
  return true;
}

// Figures are for this machine alone.
bool takeLoopback(std::optional<ListenPlace>& place, std::string_view text) {
  const bool isPlace = takePlace(place.emplace(), text);
  const auto isIn = [&](const char* range) {
    return AddressRange::parse(range)->contains(place->address);
  };
  return isPlace && (isIn("127.0.0.0/8") || isIn("::1"));
}

bool takePath(std::filesystem::path& path, std::string_view text) {
  path = text;
  return !text.empty();
}

bool takeServer(std::vector<std::string>& urls, std::string_view text,
                std::initializer_list<std::string_view> schemes) {
  urls.emplace_back(text);
  return std::ranges::any_of(schemes, [&](std::string_view scheme) {
    return text.starts_with(scheme) && text.size() > scheme.size() &&
           text.find_first_of(" \t\"") == std::string_view::npos;
  });
}

// Without the port that goes without saying, and in lower case, as browsers write an Origin.
bool takeOrigin(std::string& origin, std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
  if (lower.ends_with('/')) lower.pop_back();
  const bool isHttps = lower.starts_with("https://");
  if (!isHttps && !lower.starts_with("http://")) return false;
  const std::string_view impliedPort = isHttps ? ":443" : ":80";
  if (lower.ends_with(impliedPort)) lower.resize(lower.size() - impliedPort.size());
  const auto host = std::string_view(lower).substr(lower.find("://") + 3);
  if (host.empty() || host.find_first_of("/?#@ \t") != std::string_view::npos) return false;
  origin = lower;
  return true;
}

bool takeLife(std::chrono::seconds& life, std::string_view text) {
  const auto seconds = wholeNumber<uint32_t>(text);
  if (!seconds || *seconds < 60 || *seconds > 7 * 24 * 3600) return false;
  life = std::chrono::seconds(*seconds);
  return true;
}

constexpr std::array kSettings = {
    Setting{"listen", "ADDRESS:PORT",
            [](Options& o, std::string_view v) { return takePlace(o.listen, v); }},
    Setting{"tls-cert", "a file",
            [](Options& o, std::string_view v) { return takePath(o.tlsCertificate, v); }},
    Setting{"tls-key", "a file",
            [](Options& o, std::string_view v) { return takePath(o.tlsKey, v); }},
    Setting{"state", "a folder",
            [](Options& o, std::string_view v) { return takePath(o.state, v); }},
    Setting{"viewer", "a folder",
            [](Options& o, std::string_view v) { return takePath(o.viewer, v); }},
    Setting{"stun", "stun:HOST[:PORT]",
            [](Options& o, std::string_view v) {
              return takeServer(o.stun, v, {"stun:", "stuns:"});
            },
            /*isList=*/true},
    Setting{"turn", "turn:HOST[:PORT] or turns:HOST[:PORT]",
            [](Options& o, std::string_view v) {
              return takeServer(o.turn, v, {"turn:", "turns:"});
            },
            /*isList=*/true},
    Setting{"turn-secret-file", "a file",
            [](Options& o, std::string_view v) { return takePath(o.turnSecretFile, v); }},
    Setting{"turn-ttl", "seconds from 60 to 604800",
            [](Options& o, std::string_view v) { return takeLife(o.turnLife, v); }},
    Setting{"public-url", "https://HOST[:PORT] without a path",
            [](Options& o, std::string_view v) { return takeOrigin(o.publicOrigin, v); }},
    Setting{"trusted-proxy", "ADDRESS[/BITS]",
            [](Options& o, std::string_view v) {
              const auto range = AddressRange::parse(v);
              if (range) o.trustedProxies.push_back(*range);
              return range.has_value();
            },
            /*isList=*/true},
    Setting{"metrics", "ADDRESS:PORT with a loopback address",
            [](Options& o, std::string_view v) { return takeLoopback(o.metrics, v); }},
    Setting{"log-level", "debug, info, warning or error",
            [](Options& o, std::string_view v) {
              const auto level = logLevelOf(v);
              o.logLevel = level.value_or(o.logLevel);
              return level.has_value();
            }},
    Setting{"print-pins", "yes or no",
            [](Options& o, std::string_view v) {
              o.printPins = v == "yes";
              return v == "yes" || v == "no";
            },
            /*isList=*/false, /*isSwitch=*/true},
};

const Setting* settingOf(std::string_view name) {
  const auto found = std::ranges::find(kSettings, name, &Setting::name);
  return found == kSettings.end() ? nullptr : &*found;
}

std::string misfit(const Setting& setting, std::string_view value) {
  return std::string(setting.name) + " needs " + std::string(setting.wanted) + ", not \"" +
         std::string(value) + "\"";
}

struct Flag {
  const Setting* setting;
  std::string_view value;
};

struct CommandLine {
  std::vector<Flag> flags;
  std::filesystem::path config;
  bool help = false;
};

std::variant<CommandLine, std::string> parseFlags(std::span<const char* const> arguments) {
  CommandLine line;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    if (word == "--help") {
      line.help = true;
      continue;
    }
    const Setting* setting = word.starts_with("--") ? settingOf(word.substr(2)) : nullptr;
    if (!setting && word != "--config") {
      return "unknown option \"" + std::string(word) + "\"; --help lists them";
    }
    if (setting && setting->isSwitch) {
      line.flags.push_back({setting, "yes"});
      continue;
    }
    if (i + 1 == arguments.size()) return std::string(word) + " needs a value";
    if (setting) {
      line.flags.push_back({setting, arguments[++i]});
    } else {
      line.config = arguments[++i];
    }
  }
  return line;
}

// What is wrong with the file, or an empty text. What `flags` set stays theirs.
std::string applyConfig(Options& options, const std::filesystem::path& file,
                        const std::vector<Flag>& flags) {
  const auto text = readTextFile(file);
  if (!text) return "cannot read " + file.string();
  const auto parsed = parseConfig(*text);
  const auto at = [&](int line) { return file.string() + ":" + std::to_string(line) + ": "; };
  if (const int* line = std::get_if<int>(&parsed)) return at(*line) + "this is not \"key = value\"";
  std::set<std::string_view> seen;
  for (const auto& line : std::get<std::vector<ConfigLine>>(parsed)) {
    const Setting* setting = settingOf(line.key);
    if (!setting) return at(line.number) + "unknown key \"" + line.key + "\"";
    if (!seen.insert(setting->name).second && !setting->isList) {
      return at(line.number) + line.key + " was already set above";
    }
    Options unused;
    const bool isOverruled = std::ranges::find(flags, setting, &Flag::setting) != flags.end();
    if (!setting->take(isOverruled ? unused : options, line.value)) {
      return at(line.number) + misfit(*setting, line.value);
    }
  }
  return {};
}

// What does not go together, or an empty text.
std::string contradiction(const Options& options) {
  if (options.tlsCertificate.empty() != options.tlsKey.empty()) {
    return "tls-cert and tls-key go together";
  }
  if (options.turn.empty() != options.turnSecretFile.empty()) {
    return "turn and turn-secret-file go together";
  }
  return {};
}

}  // namespace

std::variant<Options, std::string> parseOptions(std::span<const char* const> arguments) {
  const auto parsed = parseFlags(arguments);
  if (const auto* problem = std::get_if<std::string>(&parsed)) return *problem;
  const auto& line = std::get<CommandLine>(parsed);
  Options options;
  options.help = line.help;
  if (line.help) return options;
  if (!line.config.empty()) {
    if (auto problem = applyConfig(options, line.config, line.flags); !problem.empty()) {
      return problem;
    }
  }
  for (const auto& [setting, value] : line.flags) {
    if (!setting->take(options, value)) return "--" + misfit(*setting, value);
  }
  if (auto problem = contradiction(options); !problem.empty()) return problem;
  return options;
}

std::string helpText() {
  return R"(Usage: tovalin-signal [OPTION]...
Introduces computers that run Tovalin Host to the phones paired with them.

  --config FILE            options from a file, one "key = value" a line with
                           these names without dashes; those given here win
  --listen ADDRESS:PORT    where to listen (127.0.0.1:8080); port 0 takes a free one
  --tls-cert FILE          speak TLS with this certificate chain (PEM), read anew
                           on SIGHUP
  --tls-key FILE           the key of that certificate
  --state DIR              where paired devices are kept
                           ($STATE_DIRECTORY, or tovalin-signal in $XDG_STATE_HOME)
  --viewer DIR             serve the viewer's page from this folder
                           (the page that was installed with this program)
  --public-url URL         the address that phones open; pages from elsewhere
                           may not connect then
  --trusted-proxy ADDRESS[/BITS]
                           believe what this proxy says in X-Forwarded-For about
                           who its clients are; may be given several times
  --stun URL               a STUN server for both sides; several times
  --turn URL               a TURN server for both sides; several times
  --turn-secret-file FILE  the secret shared with the TURN servers
  --turn-ttl SECONDS       how long a visit's TURN credentials last (43200)
  --metrics ADDRESS:PORT   tell figures on /metrics of this loopback address, in
                           Prometheus's format
  --log-level LEVEL        log debug, info (the default), warning or error and above
  --print-pins             print every pairing PIN to standard output: whoever reads
                           it can pair with the computer; for trying things out
  --help                   print this

Prints "READY PORT" once it listens, and logs to standard error. On anything but
the local machine give it a certificate or put a TLS proxy in front of it.
)";
}

std::filesystem::path defaultStateDirectory() {
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return std::filesystem::path(value ? value : "");
  };
  if (const auto given = variable("STATE_DIRECTORY"); !given.empty()) return given;
  if (const auto xdg = variable("XDG_STATE_HOME"); xdg.is_absolute()) return xdg / "tovalin-signal";
  const auto home = variable("HOME");
  return home.empty() ? home : home / ".local/state/tovalin-signal";
}

std::filesystem::path installedViewerDirectory(const std::filesystem::path& program) {
  const auto folder = (program.parent_path() / TOVALIN_VIEWER_FROM_PROGRAM).lexically_normal();
  std::error_code error;
  return std::filesystem::is_directory(folder, error) ? folder : std::filesystem::path();
}

std::string endpointText(const std::string& address, uint16_t port) {
  const bool isV6 = address.find(':') != std::string::npos;
  return (isV6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

}  // namespace tovalin::server

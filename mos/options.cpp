#include "mos/options.h"

#include <getopt.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>

#include "common/log/build_info.h"
#include "common/log/logger_mgr.h"
#include "libs/zmb/src/zmb_id.h"
#include "mos/instrument/process_flags.h"

namespace Mos {
namespace {

constexpr char kShortOptions[] = "i:p:vhsf::xu";

// Values of the long options that have no short one.
enum LongOption : int {
  kGid = 256,
  kGport,
  kVersion,
  kDiscard,
  kFmon,
  kF900,
  kAcq,
  kNoSpclkSync,
  kForeground,
  kNoMonitor,
  kRangeDisp,
  kNoDcOffset,
};

constexpr option kLongOptions[] = {
    {"id", required_argument, nullptr, 'i'},
    {"port", required_argument, nullptr, 'p'},
    {"gid", required_argument, nullptr, kGid},
    {"gport", required_argument, nullptr, kGport},
    {"version", no_argument, nullptr, kVersion},
    {"help", no_argument, nullptr, 'h'},
    {"discard", no_argument, nullptr, kDiscard},
    {"fft", no_argument, nullptr, 'f'},
    {"fmon", no_argument, nullptr, kFmon},
    {"f900", no_argument, nullptr, kF900},
    {"acq", no_argument, nullptr, kAcq},
    {"nospclksync", no_argument, nullptr, kNoSpclkSync},
    {"foreground", no_argument, nullptr, kForeground},
    {"nomonitor", no_argument, nullptr, kNoMonitor},
    {"xml", no_argument, nullptr, 'x'},
    {"rangedisp", no_argument, nullptr, kRangeDisp},
    {"nodcoffset", no_argument, nullptr, kNoDcOffset},
    {"usedsp", no_argument, nullptr, 'u'},
    {nullptr, 0, nullptr, 0},
};

constexpr const char* kUsageLines[] = {
    "Usage: mos [options]",
    "",
    "Options:",
    "-i ZID,  --id=ZID         mos id, default=Mos.MeasMgr",
    "-p PORT, --port=PORT      mos port number, default=3088",
    "         --gid=ZID        i2c gateway id, default=Mos.I2cMgr",
    "         --gport=PORT     i2c gateway port number, default=3089",
    // in parentheses, because a forgotten comma between two lines would look the same
    ("         --acq            Acquisition is turned on/off by start/stop messages. By default, "
     "acquisition is turned on always "),
    "         --fft            Run periodic FFT on samples and optionally monitor results",
    "         --fmon           Run periodic FFT on samples and optionally monitor results",
    "         --f900           Run periodic FFT for frequencies above 900Hz",
    "         --nospclksync    Send this Source board's MCLK to Measurement board",
    "         --foreground     Run in foreground; do not daemonize()",
    "         --nomonitor      Disables the ALLOK monitor.By default ALLOK Monitor is enabled ",
    "         --discard        Discard the board type, on which it is running ",
    "         --version        Program version",
    "         --xml            don't create xml, default=0",
    "         --nodcoffset     Do not do DC Offset Compensation ",
    "         --usedsp         Use the DSP for SineCorrelation ",
};

// Ports are decimal and narrowed to 16 bits. Text that is no number is refused. A narrowed port is
// reported, because the daemon then listens elsewhere than asked.
bool ReadPort(const char* option_name, const char* text, std::uint16_t& port) {
  char* end = nullptr;
  errno = 0;
  long value = std::strtol(text, &end, 10);
  if (end == text || *end != '\0' || errno != 0) {
    StartupError("--%s takes a decimal port number, not '%s'\n", option_name, text);
    return false;
  }
  port = static_cast<std::uint16_t>(value);
  if (port != value) {
    StartupError("--%s %ld is beyond 16 bits, port %u is used\n", option_name, value, port);
  }
  return true;
}

// The identity names the ipc end point too, so it must be one file name.
bool ReadId(const char* option_name, const char* text, std::string& id) {
  id = text;
  if (Common::ZmbID(id).IsValid() && id.find('/') == std::string::npos) return true;
  StartupError("--%s takes an identity of the form GROUP.MEMBER, not '%s'\n", option_name, text);
  return false;
}

void PrintVersion() {
  std::printf(
      "mos (Measurement Daemon for Q5) 1.0\n"
      "Comes without any warranty; for use by qualified persons only.\n\n");
}

}  // namespace

void StartupError(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  if (Logger::logger_mgr::LogSamples(Logger::mainL, Logger::kError)) {
    Logger::logger_mgr::vprint(Logger::mainL, Logger::kError, format, args);
  } else {
    std::fputs("mos: ", stderr);
    std::vfprintf(stderr, format, args);
  }
  va_end(args);
}

void PrintUsage(std::FILE* stream) {
  std::fprintf(stream, "Build Date: %s\n", blddate);
  std::fprintf(stream, "Repository revision %s\n", hgrev);
  std::fprintf(stream, "Repository summary  %s\n", hgsumm);
  std::fprintf(stream, "Repository branch   %s\n", hgbranch);
  for (const char* line : kUsageLines) std::fprintf(stream, "%s\n", line);
}

std::optional<int> ParseOptions(int argc, char* argv[], Options& options) {
  optind = 1;
  for (int c; (c = getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr)) != -1;) {
    bool good = true;
    switch (c) {
      case 'i':
        good = ReadId("id", optarg, options.id);
        break;
      case 'p':
        good = ReadPort("port", optarg, options.port);
        break;
      case kGid:
        good = ReadId("gid", optarg, options.gid);
        break;
      case kGport:
        good = ReadPort("gport", optarg, options.gport);
        break;
      case 'v':
      case 's':
        break;
      case kVersion:
        PrintVersion();
        return 0;
      case kDiscard:
        options.check_board = false;
        break;
      case 'f':
        run_fft = 1;
        break;
      case kFmon:
        run_fft_mon = 1;
        break;
      case kF900:
        run_fft900 = 1;
        break;
      case kAcq:
        acqnormal = 1;
        break;
      case kNoSpclkSync:
        spclksync = 0;
        break;
      case kForeground:
        foreground = 1;
        break;
      case kNoMonitor:
        options.monitor = false;
        break;
      case 'x':
        options.skip_ee2xml = 1;
        break;
      case kRangeDisp:
        ranging_debug_info_to_console = 1;
        break;
      case kNoDcOffset:
        gdcoffsetcontrol = 0;
        break;
      case 'u':
        usedsp = 1;
        break;
      default:
        PrintUsage(stdout);
        return 0;
    }
    if (!good) return -1;
  }
  if (optind < argc) {
    StartupError("Non-option argument '%s'\n", argv[optind]);
    return -1;
  }
  return std::nullopt;
}

void ValidOptions() {
  if (run_fft == 0) run_fft_mon = run_fft900 = 0;
}

}  // namespace Mos

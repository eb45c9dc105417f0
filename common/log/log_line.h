// The log of the components: one macro a level, with the log module as its first argument.
//
//   Q5_LOG_ERROR(fpgaL, "ramp status 0x%08X\n", status);
//   Q5_LOG_INFO_HERE(acquisitionL, "%s.%d: buffer wrap-around\n");  // "WriteCapture.66: buffer
//   ..."
//
// They are macros so that the compiler checks the format against the values, and so that the _HERE
// forms log the caller's own function and line.
#pragma once

#include "common/log/log_modules.h"
#include "common/log/logger_mgr.h"

/// `module` is an enumerator of Logger::LogModule without its namespace; the rest is that of
/// logger_mgr::print.
#define Q5_LOG_AT(level, module, ...) \
  ::Logger::logger_mgr::print(::Logger::module, level, 0, __VA_ARGS__)

#define Q5_LOG_ERROR(module, ...) Q5_LOG_AT(::Logger::kError, module, __VA_ARGS__)
#define Q5_LOG_WARNING(module, ...) Q5_LOG_AT(::Logger::kWarning, module, __VA_ARGS__)
#define Q5_LOG_NOTICE(module, ...) Q5_LOG_AT(::Logger::kNotice, module, __VA_ARGS__)
#define Q5_LOG_INFO(module, ...) Q5_LOG_AT(::Logger::kInfo, module, __VA_ARGS__)
#define Q5_LOG_DEBUG(module, ...) Q5_LOG_AT(::Logger::kDebug, module, __VA_ARGS__)

/// As Q5_LOG_AT; `text` begins with "%s.%d", for the function and the line.
#define Q5_LOG_AT_HERE(level, module, text, ...) \
  Q5_LOG_AT(level, module, text, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#define Q5_LOG_ERROR_HERE(module, ...) Q5_LOG_AT_HERE(::Logger::kError, module, __VA_ARGS__)
#define Q5_LOG_WARNING_HERE(module, ...) Q5_LOG_AT_HERE(::Logger::kWarning, module, __VA_ARGS__)
#define Q5_LOG_NOTICE_HERE(module, ...) Q5_LOG_AT_HERE(::Logger::kNotice, module, __VA_ARGS__)
#define Q5_LOG_INFO_HERE(module, ...) Q5_LOG_AT_HERE(::Logger::kInfo, module, __VA_ARGS__)
#define Q5_LOG_DEBUG_HERE(module, ...) Q5_LOG_AT_HERE(::Logger::kDebug, module, __VA_ARGS__)

/*
 * log.h - log records and developer traces.
 *
 * Threads: callable from any thread, also while the caller holds locks: no function calls back into the
 * caller. Text arguments are copied or written before the call returns.
 */
#ifndef QUOR_PLATFORM_LOG_H
#define QUOR_PLATFORM_LOG_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/* Level of a log record: something failed, or must show in logs that keep errors only. */
#define QUOR_OM_LOG_LEVEL_ERROR 1U
/* Level of a log record: something is odd; the operation goes on. */
#define QUOR_OM_LOG_LEVEL_WARNING 2U
/* Level of a log record: what happens. */
#define QUOR_OM_LOG_LEVEL_INFO 3U

/*
 * Writes one record to the module log: the log of the file that fileId names (QuorAiGetAiLogFileId, low 16
 * bits). module is the name of the source module, moduleLen its length without terminator; line is that of
 * the call. A record whose level is switched off costs no formatting. Result: 0, also for a record that is
 * switched off; non-zero when the record could not be written.
 */
unsigned int QuorOmLogModuleLogRecord(unsigned int level, unsigned short fileId, const char* module,
                                      unsigned int moduleLen, unsigned int line, const char* format, ...)
    QUOR_PLATFORM_PRINTF(6, 7);

/* The general log: milestones that a user of the terminal understands. Arguments and result as the module
 * log. */
unsigned int QuorOmLogGeneralLogRecord(unsigned int level, unsigned short fileId, const char* module,
                                       unsigned int moduleLen, unsigned int line, const char* format, ...)
    QUOR_PLATFORM_PRINTF(6, 7);

/*
 * The storm log: records that may come in masses; the platform limits their rate and says how many it
 * dropped. Arguments and result as the module log; a dropped record is a success.
 */
unsigned int QuorOmLogStormLogRecord(unsigned int level, unsigned short fileId, const char* module,
                                     unsigned int moduleLen, unsigned int line, const char* format, ...)
    QUOR_PLATFORM_PRINTF(6, 7);

/*
 * The id of the log file with that name (NUL-terminated; nothing of it is kept); the low 16 bits are what the
 * log functions take. The library asks for every record, also for one whose level is off. Never fails.
 */
unsigned int QuorAiGetAiLogFileId(const char* logFileName);

/* The developer trace level, 0 (off) to 255; may change at any time. A trace is written from its threshold
 * up. */
unsigned char GetGucAITraceLevel(void);

/* Prefix of every trace line. Static text, never null, never freed; may be empty. */
const char* QuorAiGetTraceString(void);

/* Prints one piece of trace text, as printf does; adds no line feed. */
void QuorAiTracePrintf(const char* format, ...) QUOR_PLATFORM_PRINTF(1, 2);

QUOR_PLATFORM_END

#endif

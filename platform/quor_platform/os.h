/*
 * os.h - the operating-system abstraction: mutexes, relative timers, messages between terminal modules,
 * clock, thread names and the accounted heap.
 *
 * All functions are callable from any thread unless they say otherwise. Integer results: 0 is success.
 */
#ifndef QUOR_PLATFORM_OS_H
#define QUOR_PLATFORM_OS_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/*
 * A mutex that needs no creation and no destruction: static storage or a member, initialised with
 * OS_MUTEX_INITIALIZER (all zeros), is ready. Not recursive: the owner that locks it again is a defect that
 * the platform may report or answer with a deadlock. The content is the platform's own; never copy one.
 */
struct QUOR_PLATFORM_THREAD_ATTRIBUTE(capability("mutex")) OsMutex {
    uint64_t opaque[8]; /* the platform's own; 64 bytes */
};
#if !defined(__cplusplus)
typedef struct OsMutex OsMutex;
#endif
/* clang-format off */
/* Makes an OsMutex ready. */
#define OS_MUTEX_INITIALIZER { { 0, 0, 0, 0, 0, 0, 0, 0 } }
/* clang-format on */

/* Waits without bound until the calling thread owns m. Non-zero: not locked (m is null or unusable). */
unsigned int OsMutexLock(OsMutex* m) QUOR_PLATFORM_THREAD_ATTRIBUTE(acquire_capability(*m));

/* Gives m up. Only the owner may call it. Non-zero: m is null or not owned by the caller; nothing changed. */
unsigned int OsMutexUnLock(OsMutex* m) QUOR_PLATFORM_THREAD_ATTRIBUTE(release_capability(*m));

/* A relative timer; null means none. */
typedef void* OsRelTimer;

/*
 * Runs on the platform's one timer thread, without a lock of the platform: callbacks of all timers run one
 * after another, so keep them short. arg is what the timer was made with.
 */
typedef void (*OsRelTimerCallback)(void* arg);

/* OsStartRelTimer: the callback runs every period until the timer is stopped. */
#define OS_REL_TIMER_MODE_REPEAT 0U
/* OsStartRelTimer: the callback runs once. */
#define OS_REL_TIMER_MODE_ONCE 1U

/*
 * Makes a stopped timer. arg is handed to every callback and stays the caller's. line and file name the
 * caller in the platform's monitoring; file must outlive the timer (a literal). Null: out of resources or a
 * null callback. The handle is released by OsFreeRelTimer only. A process that exits while timers run ends
 * them before its exit handlers destroy what existed when this was called: the callbacks use it.
 */
OsRelTimer OsCreateRelTimerM(OsRelTimerCallback callback, void* arg, unsigned int line, const char* file);

/*
 * Starts t: the first callback comes periodMs milliseconds from now, later ones every periodMs after it (mode
 * 0) or never (mode 1). Starting a running timer restarts it. Non-zero: unknown handle, period 0 or unknown
 * mode.
 */
unsigned int OsStartRelTimer(OsRelTimer t, unsigned int periodMs, unsigned int mode);

/*
 * Stops t. After it returned no callback of t runs or will run, because it waits for a running one; called
 * from t's own callback it does not wait. Stopping a stopped timer succeeds. Non-zero: unknown handle.
 */
unsigned int OsStopRelTimerSafe(OsRelTimer t);

/* Stops t as OsStopRelTimerSafe does and releases the handle; t is unknown afterwards. Non-zero: unknown
 * handle. */
unsigned int OsFreeRelTimer(OsRelTimer t);

/* Size of every message of OsMsgAsynSend, in bytes. Below: the places of the members that senders fill. */
#define OS_MSG_SIZE 168U
#define OS_MSG_ID_OFFSET 48U            /* what happened, 32 bits */
#define OS_MSG_SENDER_OFFSET 56U        /* name of the sending module */
#define OS_MSG_RECEIVER_OFFSET 72U      /* name of the receiving module */
#define OS_MSG_MODULE_NAME_CAPACITY 16U /* bytes of a module's name, terminator included */

/*
 * Sends one message of OS_MSG_SIZE bytes to the module whose name stands, NUL-terminated, at
 * OS_MSG_RECEIVER_OFFSET. The message is copied before the call returns; the receiver runs later, on a thread
 * of the platform. Non-zero: msg is null, the name is not terminated, nobody receives under that name, or no
 * memory.
 */
unsigned int OsMsgAsynSend(void* msg);

/* Seconds of the system clock since 1970-01-01. The clock may be set back. */
unsigned int OsGetSysTimeSec(void);

/* Names the calling thread; a name of more than 15 characters is cut. Non-zero: name is null or refused. */
int OsPthreadSetName(const char* name);

/*
 * Accounted heap. Returns size bytes, each set to fill, aligned for any type; null when there is no memory or
 * size is 0. line and module name the caller in the accounts; module must outlive the block (a literal). The
 * block belongs to the caller until OSMemTypeFreeMon.
 */
void* OsMemMallocSetCharMon(unsigned int size, unsigned char fill, unsigned int line, const char* module);

/*
 * Gives back a block of this heap, also one that another platform function allocated from it. Null is
 * ignored. A pointer that is no live block is a defect that the platform may report by ending the process.
 */
void OSMemTypeFreeMon(void* p, unsigned int line, const char* module);

QUOR_PLATFORM_END

#endif

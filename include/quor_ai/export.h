// export.h - marks what libquor_ai.so exports. Everything else is hidden.
#ifndef QUOR_AI_EXPORT_H
#define QUOR_AI_EXPORT_H

#if defined(__GNUC__)
// Stands before a declaration that applications use.
#define QUOR_AI_API __attribute__((visibility("default")))
#else
#define QUOR_AI_API
#endif

#endif

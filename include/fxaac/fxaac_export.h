/* Symbol visibility for libfxaac.
 *
 * The library is built with hidden visibility by default; every function that
 * belongs to the exported C ABI is marked FXAAC_API. The list of exported
 * names is checked against tests/exported_symbols.txt by the test suite. */
#ifndef FXAAC_EXPORT_H
#define FXAAC_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define FXAAC_API __attribute__((visibility("default")))
#else
#define FXAAC_API
#endif

#ifdef __cplusplus
#define FXAAC_EXTERN_C_BEGIN extern "C" {
#define FXAAC_EXTERN_C_END }
#else
#define FXAAC_EXTERN_C_BEGIN
#define FXAAC_EXTERN_C_END
#endif

#endif /* FXAAC_EXPORT_H */

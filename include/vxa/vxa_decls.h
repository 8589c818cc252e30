/** @file
 * Opens and closes the declarations of a public header: C linkage, and exported from libvxa.so.
 */
#ifndef VXA_DECLS_H
#define VXA_DECLS_H

#ifdef __cplusplus
#define VXA_BEGIN_DECLS extern "C" { _Pragma("GCC visibility push(default)")
#define VXA_END_DECLS _Pragma("GCC visibility pop") }
#else
#define VXA_BEGIN_DECLS _Pragma("GCC visibility push(default)")
#define VXA_END_DECLS _Pragma("GCC visibility pop")
#endif

#endif

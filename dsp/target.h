/** The instruction set that a translation unit is compiled for
 *
 *  The blocks are compiled once for every machine of an architecture and, where it pays, once more for newer ones
 *  (TALV_TARGET is then set by the build). Each copy lives in an inline namespace of its own, so that no routine of one
 *  can stand in for that of another; codec/dispatch.h chooses between them when an instance is opened. The arithmetic,
 *  and so every result, is the same in all of them.
 *
 *  Tables of some size are the same in all of them too, and the library has one of each, in a namespace of their own.
 *  They are compiled with the copy for every machine. What uses some of them and is no part of the library has its own
 *  (TALV_OWN_TABLES).
 */
#ifndef TALV_DSP_TARGET_H
#define TALV_DSP_TARGET_H

#ifndef TALV_TARGET
#define TALV_TARGET baseline
#define TALV_HAS_TABLES
#endif

#ifdef TALV_OWN_TABLES
#define TALV_HAS_TABLES
#define TALV_TABLES TALV_TARGET
#else
#define TALV_TABLES tables
#endif

#endif

/** Bundled recordings as arrays: 8 kHz, mono, 16 bits; speech.c is written by wav_to_c.cmake at the build */
#ifndef TALV_CONFORMANCE_SPEECH_H
#define TALV_CONFORMANCE_SPEECH_H

#include <stdint.h>

extern const int16_t speech_en_m_jfk[], speech_en_f_lj[];
extern const int32_t speech_en_m_jfk_length, speech_en_f_lj_length; /* samples */

#endif

/** Sizes that the whole codec shares. Lengths count samples at 8 kHz unless a name says otherwise. */
#ifndef TALV_DSP_CONSTANTS_H
#define TALV_DSP_CONSTANTS_H

namespace talv
{

inline constexpr int FRAME_LEN = 240;           /* samples a frame: 30 ms                                     */
inline constexpr int FRAME_BYTES = 8;           /* bytes a frame, of which 60 bits carry data: 2000 bit/s     */
inline constexpr int LPC_ORDER = 10;            /* order of A(z) and number of LSFs                           */
inline constexpr int LSF_STORE = 16;            /* room of an LSF array: the largest order of intrp_lsf_lpc   */
inline constexpr int LAG_MIN = 20;              /* shortest pitch lag, 400 Hz                                 */
inline constexpr int LAG_MAX = 160;             /* longest pitch lag of the analysis, 50 Hz                   */
inline constexpr int LAG_MAX_FRAME = 147;       /* longest pitch lag that 7 bits from LAG_MIN can send        */
inline constexpr int MAX_SUBFRAMES = 12;        /* most pitch-synchronous subframes in a frame                */
inline constexpr int QUARTERS = 4;              /* gains a frame, one for each 60 samples                     */
inline constexpr int RS_DIM = 2;                /* periodicity values a frame                                 */
inline constexpr int AS_DIM = 10;               /* harmonics whose amplitudes are sent                        */
inline constexpr int FFT_MAX = 128;             /* largest transform, and the grid of the longest cycles      */
inline constexpr int MAX_HARMONICS = 80;        /* room of a harmonic array; LAG_MAX_FRAME needs 73           */
inline constexpr int CYCLE_STORE = FFT_MAX + 3; /* a cycle's spline coefficients with one guard before
                                                   them and two behind                                  */

} // namespace talv

#endif

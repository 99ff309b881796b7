/* The host's side of the frame: fields, their meaning, and what stands in for a frame that was lost */
#include "codec/frame.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <talvhost.h>
#include <vector>

TEST(Host, FieldsAreThoseOfTheCodec)
{
    /* The library's own unpacking, on random frames: field for field, and back to the same 60 bits. */
    constexpr unsigned SEED = 71;
    std::mt19937 random(SEED);
    for (int n = 0; n < 2000; n++) {
        uint8_t frame[8], back[8];
        for (uint8_t &b : frame)
            b = static_cast<uint8_t>(random());
        TALV_FrameFields got;
        talv::FrameParams want;
        TALV_FrameUnpack(frame, &got);
        talv::frame_unpack(frame, &want);
        ASSERT_EQ(got.pitch, want.pitch_index) << "seed " << SEED << ", frame " << n;
        for (int k = 0; k < 10; k++)
            ASSERT_EQ(got.lsf[k], want.lsf_index[k]) << "seed " << SEED << ", frame " << n << ", element " << k;
        ASSERT_EQ(got.gain[0], want.gain_index[0]) << "seed " << SEED << ", frame " << n;
        ASSERT_EQ(got.gain[1], want.gain_index[1]) << "seed " << SEED << ", frame " << n;
        ASSERT_EQ(got.rs, want.rs_index) << "seed " << SEED << ", frame " << n;
        ASSERT_EQ(got.as, want.as_index) << "seed " << SEED << ", frame " << n;
        ASSERT_EQ(TALV_FramePack(&got, back), 0);
        frame[7] &= 0xf0;
        ASSERT_EQ(std::vector<uint8_t>(back, back + 8), std::vector<uint8_t>(frame, frame + 8));
    }
}

TEST(Host, FieldsOutOfRangeAreRefused)
{
    TALV_FrameFields f = {};
    int32_t *const fields[] = {&f.pitch, &f.lsf[0], &f.lsf[9], &f.gain[0], &f.gain[1], &f.rs, &f.as};
    const int32_t limits[] = {127, 15, 3, 31, 31, 31, 127};
    uint8_t frame[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const std::vector<uint8_t> before(frame, frame + 8);
    for (int i = 0; i < 7; i++) {
        for (const int32_t value : {-1, limits[i] + 1}) {
            *fields[i] = value;
            EXPECT_EQ(TALV_FramePack(&f, frame), -1) << "field " << i << ", value " << value;
            EXPECT_EQ(std::vector<uint8_t>(frame, frame + 8), before);
        }
        *fields[i] = limits[i];
        uint8_t scratch[8];
        EXPECT_EQ(TALV_FramePack(&f, scratch), 0) << "field " << i;
        *fields[i] = 0;
    }
}

TEST(Host, FrameSaysWhatItMeans)
{
    /* Lag 20 + 60 = 80 samples is 100 Hz. The LSF indices of an even spread of 0.25 rad give the sums of their levels.
     * Gain rows 26 and 29 add to about 58 in each quarter, so an RMS of about 3350. */
    TALV_FrameFields f = {60, {8, 10, 3, 1, 3, 2, 2, 3, 1, 1}, {26, 29}, 0, 0};
    uint8_t frame[8];
    ASSERT_EQ(TALV_FramePack(&f, frame), 0);
    TALV_FrameSound s;
    TALV_FrameDescribe(frame, &s);
    EXPECT_FLOAT_EQ(s.pitch_hz, 100);
    const double lsf[] = {0.247407, 0.495162, 0.766074, 0.972652, 1.284834,
                          1.482365, 1.76481,  2.028498, 2.239489, 2.468237};
    for (int k = 0; k < 10; k++)
        EXPECT_NEAR(s.lsf_hz[k], lsf[k] * 4000 / M_PI, 0.01) << k;
    const double gain[] = {58.16581 - 0.233941, 58.67099 + 0.04818971, 58.63049 + 0.299467, 58.10137 + 0.2213185};
    double power = 0;
    for (int i = 0; i < 4; i++) {
        EXPECT_NEAR(s.rms[i], gain[i] * gain[i], 0.05) << i;
        power += std::pow(gain[i], 4) / 4;
    }
    EXPECT_NEAR(s.level_dbov, 10 * std::log10(power / std::pow(2, 30)), 0.01);
    EXPECT_NEAR(s.voicing[0], 1 - 0.0157, 1e-5) << "the first pair is the most periodic one";

    f.rs = 31;
    ASSERT_EQ(TALV_FramePack(&f, frame), 0);
    TALV_FrameDescribe(frame, &s);
    EXPECT_EQ(s.voicing[0], 0) << "and the last one is noise";
}

TEST(Host, LostFramesHoldThenFadeThenFallSilent)
{
    TALV_FrameFields f = {60, {8, 10, 3, 1, 3, 2, 2, 3, 1, 1}, {26, 29}, 2, 17};
    uint8_t frame[8], lost[8];
    ASSERT_EQ(TALV_FramePack(&f, frame), 0);
    TALV_FrameSound s, last;
    TALV_FrameDescribe(frame, &last);
    TALV_Conceal conceal;
    TALV_ConcealInit(&conceal);
    TALV_ConcealLost(&conceal, lost);
    TALV_FrameDescribe(lost, &s);
    EXPECT_LT(s.level_dbov, -88) << "nothing came yet";

    for (int round = 0; round < 2; round++) { /* a frame that comes starts the count anew */
        TALV_ConcealReceived(&conceal, frame);
        for (int n = 1; n <= 10; n++) {
            EXPECT_EQ(TALV_ConcealLost(&conceal, lost), std::min(n, TALV_CONCEAL_FADE + 1));
            TALV_FrameFields got;
            TALV_FrameUnpack(lost, &got);
            EXPECT_EQ(got.pitch, f.pitch);
            EXPECT_EQ(got.rs, f.rs);
            EXPECT_EQ(got.as, f.as);
            for (int k = 0; k < 10; k++)
                EXPECT_EQ(got.lsf[k], f.lsf[k]) << k;
            TALV_FrameDescribe(lost, &s);
            if (n > TALV_CONCEAL_FADE) {
                EXPECT_LT(s.level_dbov, -88) << "lost frame " << n;
            } else {
                /* the end of the frame is 6 dB down for each frame after the first; the codebook is coarse at low levels */
                const double want = static_cast<double>(last.rms[3]) * std::pow(10, -6.0 * (n - 1) / 20);
                EXPECT_NEAR(20 * std::log10(static_cast<double>(s.rms[3]) / want), 0, 4) << "lost frame " << n;
            }
        }
    }
}

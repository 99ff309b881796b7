/** The instance record: what a reset stores, what it leaves alone, and that the two directions keep apart */
#include "codec/instance.h"
#include "tests/stream/host.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

namespace
{

using namespace talv;

template <size_t N>
void expect_all(const float (&field)[N], float want, const char *name)
{
    for (size_t i = 0; i < N; i++)
        EXPECT_EQ(field[i], want) << name << " element " << i;
}

/** Both directions begin with ten LSFs a quarter of a radian apart */
void expect_start_lsf(const float *lsf, const char *name)
{
    for (int k = 0; k < LPC_ORDER; k++)
        EXPECT_EQ(lsf[k], 0.25f * static_cast<float>(k + 1)) << name << " element " << k;
}

void expect_encoder_start(const EncoderState &enc)
{
    expect_all(enc.sig_hist, 0.0f, "sig_hist");
    expect_all(enc.res_hist, 0.0f, "res_hist");
    expect_all(enc.lp_hist, 0.0f, "lp_hist");
    expect_all(enc.rs_hist, 0.0f, "rs_hist");
    expect_start_lsf(enc.lsf_prev, "encoder lsf_prev");
    expect_all(enc.iir_state, 0.0f, "iir_state");
    expect_all(enc.lp_state, 0.0f, "lp_state");
    expect_all(enc.rs_state, 0.0f, "rs_state");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(enc.pitch_hist[i], 64) << "pitch_hist element " << i;
        EXPECT_EQ(enc.corr_hist[i], 0.0f) << "corr_hist element " << i;
    }
    EXPECT_EQ(enc.dc_mean, 0.0f);
}

void expect_decoder_start(const DecoderState &dec)
{
    expect_start_lsf(dec.lsf_prev, "decoder lsf_prev");
    EXPECT_EQ(dec.pitch_prev, 64);
    expect_all(dec.rs_hist, 0.0f, "rs_hist");
    expect_all(dec.as_prev, 0.0f, "as_prev");
    expect_all(dec.gain_hist, 0.0f, "gain_hist");
    expect_all(dec.gain_track, 0.0f, "gain_track");
    EXPECT_EQ(dec.noise_seed, 4385u);
    EXPECT_EQ(dec.rs_prev, 0.0f);
    expect_all(dec.cycle_old, 0.0f, "cycle_old");
    expect_all(dec.cycle_new, 0.0f, "cycle_new");
    EXPECT_EQ(dec.cycle_old_len, 64);
    expect_all(dec.syn_hist, 0.0f, "syn_hist");
    expect_all(dec.out_hist, 0.0f, "out_hist");
    EXPECT_EQ(dec.cycle_phase, 0.0f);

    /* A conjugate pair of roots of radius 0.2f at +-2.5 radians. The second coefficient is the float square of 0.2f,
     * which is not the float nearest to 0.04. */
    EXPECT_EQ(dec.tilt_c1, 0.32045746f);
    EXPECT_EQ(std::bit_cast<uint32_t>(dec.tilt_c2), 0x3D23D70Bu) << dec.tilt_c2;
    const double radius = static_cast<double>(0.2f);
    EXPECT_NEAR(static_cast<double>(dec.tilt_c1), -2.0 * radius * std::cos(2.5), 2e-8);
}

TEST(Instance, StartsAsResetsDo)
{
    const test::Codec codec = test::open_codec();
    EXPECT_EQ(codec->tag, 66);
    expect_encoder_start(codec->enc);
    expect_decoder_start(codec->dec);

    /* The order of the record and its size are part of the contract with the header. */
    EXPECT_LT(offsetof(TALV_Codec, enc), offsetof(TALV_Codec, dec));
    EXPECT_LT(offsetof(TALV_Codec, dec), offsetof(TALV_Codec, tag));
    EXPECT_LE(sizeof(TALV_Codec), 16u * 1024u);
}

/** From any state, with every other byte of the record as it was */
TEST(Instance, ResetsTouchTheirDirectionAlone)
{
    const test::Codec codec = test::open_codec();
    auto before = std::make_unique<TALV_Codec>();

    std::memset(codec.get(), 0x5A, sizeof *codec);
    std::memcpy(before.get(), codec.get(), sizeof *codec);
    EXPECT_EQ(TALV_EncodeInit(codec.get()), TALV_OK);
    expect_encoder_start(codec->enc);
    EXPECT_EQ(std::memcmp(&codec->dec, &before->dec, sizeof codec->dec), 0) << "the decoder was touched";
    EXPECT_EQ(codec->tag, before->tag);
    /* These three are written before they are read in every call, and a reset has no business with them. */
    EXPECT_EQ(std::memcmp(codec->enc.lsf_new, before->enc.lsf_new, sizeof codec->enc.lsf_new), 0);
    EXPECT_EQ(codec->enc.pitch_hist[2], before->enc.pitch_hist[2]);
    EXPECT_EQ(std::bit_cast<uint32_t>(codec->enc.corr_hist[2]), 0x5A5A5A5Au);

    std::memset(codec.get(), 0xA5, sizeof *codec);
    std::memcpy(before.get(), codec.get(), sizeof *codec);
    EXPECT_EQ(TALV_DecodeInit(codec.get()), TALV_OK);
    expect_decoder_start(codec->dec);
    EXPECT_EQ(std::memcmp(&codec->enc, &before->enc, sizeof codec->enc), 0) << "the encoder was touched";
    EXPECT_EQ(codec->tag, before->tag);
}

/** Each call advances one half of the record and stores the count of frame bytes */
TEST(Instance, CallsTouchTheirDirectionAlone)
{
    const test::Codec codec = test::open_codec();
    auto before = std::make_unique<TALV_Codec>();
    int16_t pcm[FRAME_LEN];
    for (int i = 0; i < FRAME_LEN; i++)
        pcm[i] = static_cast<int16_t>((i * 7919) % 4001 - 2000);
    uint8_t frame[FRAME_BYTES];

    std::memcpy(before.get(), codec.get(), sizeof *codec);
    uint32_t bytes = 0xFFFFFFFFu;
    EXPECT_EQ(TALV_SpeechEncode(codec.get(), pcm, frame, &bytes), TALV_OK);
    EXPECT_EQ(bytes, static_cast<uint32_t>(FRAME_BYTES));
    EXPECT_NE(std::memcmp(&codec->enc, &before->enc, sizeof codec->enc), 0);
    EXPECT_EQ(std::memcmp(&codec->dec, &before->dec, sizeof codec->dec), 0) << "encoding touched the decoder";

    std::memcpy(before.get(), codec.get(), sizeof *codec);
    bytes = 0xFFFFFFFFu;
    EXPECT_EQ(TALV_SpeechDecode(codec.get(), frame, pcm, &bytes), TALV_OK);
    EXPECT_EQ(bytes, static_cast<uint32_t>(FRAME_BYTES));
    EXPECT_NE(std::memcmp(&codec->dec, &before->dec, sizeof codec->dec), 0);
    EXPECT_EQ(std::memcmp(&codec->enc, &before->enc, sizeof codec->enc), 0) << "decoding touched the encoder";
    EXPECT_EQ(codec->tag, 66);
}

} // namespace

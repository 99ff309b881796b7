/** A channel that loses frames and bits, for trying out what a connection does to speech */
#ifndef TALV_TOOLS_CHANNEL_H
#define TALV_TOOLS_CHANNEL_H

#include "coded_in.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace talv
{

struct ChannelModel {
    std::string loss; /* "", "random:RATE", "burst:RATE:LENGTH" or "pattern:FILE" */
    double ber = 0;   /* probability that a bit is turned over, 0..1              */
    uint32_t seed = 1;
};

class Channel
{
public:
    /** throws   Failure when the model is not understood, or its file cannot be read */
    explicit Channel(const ChannelModel &model);

    /** What becomes of a frame: it may be lost, or bits of its 60 may turn over */
    void pass(CodedFrame &frame);

    int64_t lost() const { return lost_; }
    int64_t bits_turned() const { return turned_; }

private:
    bool loses();

    enum class Kind { none, random, burst, pattern } kind_ = Kind::none;
    double enter_ = 0, leave_ = 1; /* probabilities of a change between the two states of the burst model */
    bool bad_ = false;
    std::vector<bool> pattern_;
    size_t at_ = 0;
    double ber_;
    std::mt19937 random_;
    int64_t lost_ = 0, turned_ = 0;
};

} // namespace talv

#endif

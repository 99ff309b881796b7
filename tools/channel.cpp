#include "channel.h"

#include "failure.h"
#include "input_file.h"

#include <algorithm>
#include <cstdlib>

namespace talv
{
namespace
{

constexpr int FRAME_BITS = 60;

/* A number at the start of s, taken off with the colon behind it; -1 when there is none. */
double take_number(std::string &s)
{
    char *end = nullptr;
    const double value = std::strtod(s.c_str(), &end);
    if (end == s.c_str() || (*end != '\0' && *end != ':'))
        return -1;
    s.erase(0, static_cast<size_t>(end - s.c_str()) + (*end == ':' ? 1 : 0));
    return value;
}

/* 2^-32 steps, the same on every machine, which the distributions of the standard library are not. */
double uniform(std::mt19937 &random)
{
    return static_cast<double>(random()) / 4294967296.0;
}

} // namespace

Channel::Channel(const ChannelModel &model) : ber_(model.ber), random_(model.seed)
{
    const Failure unknown("--loss " + model.loss,
                          "is none of random:RATE, burst:RATE:LENGTH, pattern:FILE, with a RATE of 0 to 1",
                          Status::usage);
    const size_t colon = model.loss.find(':');
    const std::string kind = model.loss.substr(0, colon);
    std::string rest = colon == std::string::npos ? "" : model.loss.substr(colon + 1);
    if (kind == "random" || kind == "burst") {
        kind_ = kind == "random" ? Kind::random : Kind::burst;
        const double rate = take_number(rest);
        const double length = kind_ == Kind::burst ? take_number(rest) : 1;
        if (!(rate >= 0 && rate <= 1) || !(length >= 1) || !rest.empty())
            throw unknown;
        /* Gilbert, Bell Syst. Tech. J. 39, 1960: the mean stay in the bad state is LENGTH frames, and the share of
         * time in it is RATE. */
        leave_ = rate < 1 ? 1 / length : 0;
        enter_ = kind_ == Kind::random ? rate : rate < 1 ? std::min(1.0, leave_ * rate / (1 - rate)) : 1;
    } else if (kind == "pattern" && !rest.empty()) {
        kind_ = Kind::pattern;
        InputFile in(rest);
        char c;
        while (in.read(&c, 1) == 1)
            if (c == '0' || c == '1')
                pattern_.push_back(c == '1');
            else if (c != '\n' && c != '\r' && c != ' ' && c != '\t')
                throw Failure(in.name(), "is not a loss pattern: 0 for a frame that comes, 1 for one that is lost",
                              Status::alien);
        if (pattern_.empty())
            throw Failure(in.name(), "is empty", Status::alien);
    } else if (!model.loss.empty()) {
        throw unknown;
    }
}

bool Channel::loses()
{
    switch (kind_) {
    case Kind::random:
        return uniform(random_) < enter_;
    case Kind::burst:
        bad_ = uniform(random_) < (bad_ ? 1 - leave_ : enter_);
        return bad_;
    case Kind::pattern:
        return pattern_[at_++ % pattern_.size()];
    default:
        return false;
    }
}

void Channel::pass(CodedFrame &frame)
{
    if (loses()) {
        frame.lost = true;
        lost_++;
    }
    for (int i = 0; ber_ > 0 && i < FRAME_BITS; i++) {
        if (uniform(random_) < ber_) {
            frame.bytes[i / 8] = static_cast<uint8_t>(frame.bytes[i / 8] ^ 0x80 >> i % 8);
            turned_++;
        }
    }
}

} // namespace talv

// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxChannelDifference.h"

#include "check/kxNumberText.h"

#include <QByteArrayList>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace kxCheck {

namespace {

using kxExr::Channel;

bool isBefore(const Channel& a, const Channel& b) {
    return a.name < b.name;
}

std::vector<Channel> sortedByName(std::vector<Channel> channels) {
    std::stable_sort(channels.begin(), channels.end(), isBefore);
    return channels;
}

// "half", "half every 2x2" pixels.
QByteArray channelText(const Channel& channel) {
    QByteArray text = kxExr::pixelTypeName(channel.type);
    if (channel.xSampling != 1 || channel.ySampling != 1)
        text += " every " + numberText(channel.xSampling) + 'x' + numberText(channel.ySampling) + " pixels";
    return text;
}

// "R, G, B and 9 more".
QByteArray namesText(const std::vector<Channel>& channels) {
    constexpr std::size_t mostNames = 5;
    QByteArray text;
    const std::size_t shown = channels.size() > mostNames + 1 ? mostNames : channels.size();
    for (std::size_t i = 0; i < shown; ++i) text += (i > 0 ? ", " : "") + channels[i].name;
    if (shown < channels.size())
        text += " and " + numberText(static_cast<std::int64_t>(channels.size() - shown)) + " more";
    return text;
}

QByteArray countedText(const std::vector<Channel>& channels) {
    return (channels.size() == 1 ? QByteArray("channel ")
                                 : numberText(static_cast<std::int64_t>(channels.size())) + " channels ") +
           namesText(channels);
}

std::vector<Channel> onlyInFirst(const std::vector<Channel>& first, const std::vector<Channel>& second) {
    std::vector<Channel> only;
    std::set_difference(first.begin(), first.end(), second.begin(), second.end(), std::back_inserter(only),
                        isBefore);
    return only;
}

// Channels of the same name and another type or sampling; "Z is half, with the others float".
QByteArray changedText(const std::vector<Channel>& channels, const std::vector<Channel>& others) {
    std::vector<Channel> changed;
    QByteArray first;
    for (const Channel& channel : channels) {
        const auto other = std::lower_bound(others.begin(), others.end(), channel, isBefore);
        if (other == others.end() || other->name != channel.name || *other == channel) continue;
        if (changed.empty())
            first = channel.name + " is " + channelText(channel) + ", with the others " + channelText(*other);
        changed.push_back(channel);
    }
    if (changed.size() < 2) return first;
    return first + ", and " + numberText(static_cast<std::int64_t>(changed.size() - 1)) + " more differ";
}

}  // namespace

bool isSameChannels(const std::vector<Channel>& a, const std::vector<Channel>& b) {
    // Nearly all frames have them in the same order.
    return a == b || (a.size() == b.size() && sortedByName(a) == sortedByName(b));
}

QByteArray channelDifference(const std::vector<Channel>& have, const std::vector<Channel>& others) {
    const std::vector<Channel> sorted = sortedByName(have);
    const std::vector<Channel> sortedOthers = sortedByName(others);
    const std::vector<Channel> lacking = onlyInFirst(sortedOthers, sorted);
    const std::vector<Channel> extra = onlyInFirst(sorted, sortedOthers);
    const QByteArray changed = changedText(sorted, sortedOthers);
    QByteArrayList texts;
    if (!lacking.empty()) texts += "lacks " + countedText(lacking) + " that the others have";
    if (!extra.empty()) texts += "has " + countedText(extra) + " that the others lack";
    if (!changed.isEmpty()) texts += changed;
    // A name that stands twice can hide the difference.
    return texts.isEmpty() ? QByteArray("channels differ") : texts.join("; ");
}

}  // namespace kxCheck

// SPDX-License-Identifier: BSD-3-Clause
// Headers in reports: sent once, shared, and never more remembered than is allowed.
#include "check/kxWorkerMessage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace kxCheck;

namespace {

kxExr::Part partNamed(const QByteArray& name) {
    kxExr::Part part;
    part.name = name;
    part.channels = {{"A"}, {"Z", kxExr::PixelType::float32, 2, 1}};
    return part;
}

FileReport reportWith(Headers headers) {
    FileReport report;
    report.headers = std::make_shared<const Headers>(std::move(headers));
    return report;
}

FileReport twoParts() {
    return reportWith({partNamed("left"), partNamed("right")});
}

}  // namespace

TEST(ReportHeaders, AreSentOnce) {
    ReportEncoder encoder;
    HeaderStore store;
    ReportDecoder decoder(store);
    const auto first = decoder.decode(encoder.encode(twoParts()));
    const QByteArray second = encoder.encode(twoParts());
    EXPECT_EQ(second.indexOf("left"), -1);
    const auto again = decoder.decode(second);
    ASSERT_TRUE(first && again);
    EXPECT_EQ(first->headers, again->headers);
}

TEST(ReportHeaders, ComeBackWhetherTheyAreTheSameAsBeforeOrEqual) {
    ReportEncoder encoder;
    HeaderStore store;
    ReportDecoder decoder(store);
    std::vector<FileReport> reports;
    for (int i = 0; i < mostNumberedHeaders + 5; ++i)
        reports.push_back(reportWith({partNamed(QByteArray::number(i))}));
    std::mt19937 random(1);
    for (int i = 0; i < 2000; ++i) {
        FileReport& report = reports[random() % reports.size()];
        if (random() % 3 == 0) report = reportWith(*report.headers);
        const auto received = decoder.decode(encoder.encode(report));
        ASSERT_TRUE(received && received->headers) << i;
        ASSERT_EQ(received->headers->front().name, report.headers->front().name) << i;
    }
}

TEST(ReportHeaders, AreSharedByAllConnections) {
    HeaderStore store;
    const auto first = ReportDecoder(store).decode(ReportEncoder().encode(twoParts()));
    const auto second = ReportDecoder(store).decode(ReportEncoder().encode(twoParts()));
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->headers, second->headers);
}

TEST(ReportHeaders, ShareTheirChannelsWhereTheyDifferInSomethingElse) {
    HeaderStore store;
    Headers headers = *twoParts().headers;
    headers[0].dataWindow.minX -= 1;
    headers[1].channels = {{"B"}};
    const auto first = ReportDecoder(store).decode(ReportEncoder().encode(twoParts()));
    const auto second = ReportDecoder(store).decode(ReportEncoder().encode(reportWith(headers)));
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->headers, second->headers);
    EXPECT_EQ((*first->headers)[0].channels.shared(), (*second->headers)[0].channels.shared());
    EXPECT_NE((*first->headers)[1].channels, (*second->headers)[1].channels);
}

TEST(ReportHeaders, GoWithTheLastThatHasThem) {
    HeaderStore store;
    auto report = ReportDecoder(store).decode(ReportEncoder().encode(twoParts()));
    ASSERT_TRUE(report);
    const std::weak_ptr<const Headers> headers = report->headers;
    report.reset();
    EXPECT_TRUE(headers.expired());
}

TEST(ReportHeaders, AreSentAnewWhenManyOthersWereNumbered) {
    ReportEncoder encoder;
    HeaderStore store;
    ReportDecoder decoder(store);
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < mostNumberedHeaders + 10; ++i) {
            const QByteArray name = QByteArray::number(i);
            const auto received = decoder.decode(encoder.encode(reportWith({partNamed(name)})));
            ASSERT_TRUE(received && received->headers);
            EXPECT_EQ(received->headers->front().name, name);
        }
    }
}

// Otherwise every connection would keep the headers of hostile files.
TEST(ReportHeaders, AreNotNumberedWhereTheyAreLarge) {
    ReportEncoder encoder;
    HeaderStore store;
    ReportDecoder decoder(store);
    std::vector<std::weak_ptr<const Headers>> sent;
    for (int i = 0; i < 10; ++i) {
        const QByteArray name(static_cast<int>(mostNumberedBytes / 3), static_cast<char>('a' + i));
        const auto received = decoder.decode(encoder.encode(reportWith({partNamed(name)})));
        ASSERT_TRUE(received && received->headers);
        EXPECT_EQ(received->headers->front().name, name);
        sent.push_back(received->headers);
    }
    EXPECT_EQ(std::count_if(sent.begin(), sent.end(), [](const auto& headers) { return !headers.expired(); }), 2);
}

TEST(ReportHeaders, OfMoreBytesThanMayBeNumberedAreRejected) {
    HeaderStore store;
    ReportDecoder decoder(store);
    for (int i = 0; i < 3; ++i) {
        const QByteArray name(static_cast<int>(mostNumberedBytes * 2 / 5), static_cast<char>('a' + i));
        ReportEncoder encoder;  // one that numbers no headers of the others
        for (int before = 0; before < i; ++before) static_cast<void>(encoder.encode(FileReport()));
        EXPECT_EQ(decoder.decode(encoder.encode(reportWith({partNamed(name)}))).has_value(), i < 2) << i;
    }
}

TEST(ReportHeaders, OfNoPartAreRejected) {
    HeaderStore store;
    EXPECT_TRUE(ReportDecoder(store).decode(ReportEncoder().encode(reportWith({kxExr::Part()}))));
    EXPECT_FALSE(ReportDecoder(store).decode(ReportEncoder().encode(reportWith({}))));
}

TEST(ReportHeaders, OfANumberThatWasNeverSentAreRejected) {
    ReportEncoder encoder;
    HeaderStore store;
    ASSERT_TRUE(ReportDecoder(store).decode(encoder.encode(twoParts())));
    EXPECT_FALSE(ReportDecoder(store).decode(encoder.encode(twoParts()))) << "another connection's number";
}

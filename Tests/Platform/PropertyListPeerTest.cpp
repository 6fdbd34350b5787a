#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <gtest/gtest.h>

#include <QtCore/QDateTime>

#include <plist/plist.h>

#include <cstdlib>
#include <memory>

using namespace KVBase;

namespace
{

using Format = NSPropertyListFormat;

/// What both readers agree on: dates within the years that the other one can name, whole numbers without a
/// sign problem, texts without control characters.
QVariantMap sample()
{
    QVariantList numbers;
    for (qlonglong number = 0; number < 300; ++number)
        numbers.append(number * number * number);
    return {{"text", QString::fromUtf8("Grüße & <x> 😀")},
            {"empty", QStringLiteral("")},
            {"yes", true},
            {"no", false},
            {"big", 9223372036854775807LL},
            {"real", 0.1},
            {"data", QByteArray("\0\1\2\xff", 4)},
            {"date", QDateTime(QDate(2026, 11, 22), QTime(0, 26, 22), Qt::UTC)},
            {"numbers", numbers},
            {"nested", QVariantMap{{"list", QVariantList{QVariantMap{{"deep", "leaf"}}, QVariantList{}}}}}};
}

/// `data` read by the other library and written again in `format`; empty when it refuses.
QByteArray rewrittenByPeer(const QByteArray &data, Format format)
{
    plist_t root = nullptr;
    plist_from_memory(data.constData(), static_cast<uint32_t>(data.size()), &root);
    if (root == nullptr)
        return {};
    char *bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::XML)
        plist_to_xml(root, &bytes, &length);
    else
        plist_to_bin(root, &bytes, &length);
    plist_free(root);
    const std::unique_ptr<char, decltype(&std::free)> owned(bytes, &std::free);
    return QByteArray(bytes, static_cast<qsizetype>(length));
}

} // namespace

TEST(PropertyListPeerTest, BothReadWhatTheOtherWrites)
{
    for (const Format ours : {Format::XML, Format::Binary}) {
        const auto data = NSPropertyListSerialization::dataFromPropertyList(sample(), ours, nullptr);
        ASSERT_TRUE(data.has_value());
        for (const Format theirs : {Format::XML, Format::Binary}) {
            const QByteArray rewritten = rewrittenByPeer(*data, theirs);
            ASSERT_FALSE(rewritten.isEmpty());
            Format found = Format::OpenStep;
            const QVariant back =
                NSPropertyListSerialization::propertyListFromData(rewritten, &found, nullptr);
            EXPECT_EQ(found, theirs);
            EXPECT_EQ(back, QVariant(sample()));
        }
    }
}

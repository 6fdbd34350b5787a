#include "Text/PatternLimits.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace KVBase
{

namespace
{

// The C library's compiler needed 130 MB for 4,096 elements that may be skipped, and four times that for
// twice as many; its stack of 8 MB was used up at 20,000 nested groups.
constexpr qsizetype kMaximumLength = 65536;
constexpr std::size_t kMaximumDepth = 250;
constexpr std::uint64_t kMaximumElements = 32768;
constexpr std::uint64_t kMaximumSkips = 4096;
constexpr std::uint64_t kMaximumCount = 32768;

/// What a part of a pattern becomes: elements that match something, and ways past something.
struct Cost {
    std::uint64_t elements = 0;
    std::uint64_t skips = 0;

    void add(const Cost &other)
    {
        elements += other.elements;
        skips += other.skips;
    }

    bool isWithinLimits() const { return elements <= kMaximumElements && skips <= kMaximumSkips; }
};

/// One group that is being read: what came before its latest element, and that element, which may be
/// repeated.
struct Group {
    Cost before;
    Cost latest;
};

/// Reads a pattern once and adds up what it stands for.
class Scanner {
public:
    explicit Scanner(QByteArrayView given) : rest(given) {}

    bool isWithinLimits()
    {
        while (!rest.isEmpty()) {
            if (!readElement())
                return false;
        }
        return groups[0].before.isWithinLimits() && groups[0].latest.isWithinLimits();
    }

private:
    Group &group() { return groups[depth]; }

    char take()
    {
        const char first = rest.front();
        rest = rest.sliced(1);
        return first;
    }

    /// False once a limit is passed.
    bool readElement()
    {
        switch (const char character = take()) {
        case '(':
            return openGroup();
        case ')':
            return closeGroup();
        case '[':
            skipBracket();
            return addElement({1, 0});
        case '\\':
            return readEscape();
        case '*':
        case '?':
            return repeat(1, 1);
        case '+':
            return repeat(2, 1);
        case '{':
            return readCount();
        default:
            return addElement(isWithoutWidth(character) ? Cost{0, 1} : Cost{1, 0});
        }
    }

    static bool isWithoutWidth(char character)
    {
        return character == '|' || character == '^' || character == '$';
    }

    bool addElement(const Cost &cost)
    {
        group().before.add(group().latest);
        group().latest = cost;
        return group().before.isWithinLimits() && cost.isWithinLimits();
    }

    bool openGroup()
    {
        if (depth == kMaximumDepth)
            return false;
        groups[++depth] = {};
        return true;
    }

    bool closeGroup()
    {
        if (depth == 0)
            return addElement({1, 0});
        Cost whole = group().before;
        whole.add(group().latest);
        whole.add({1, 2});
        --depth;
        return addElement(whole);
    }

    bool readEscape()
    {
        const bool isWord = !rest.isEmpty() && QByteArrayView("bB<>`'").contains(rest.front());
        if (!rest.isEmpty())
            take();
        return addElement(isWord ? Cost{0, 1} : Cost{1, 0});
    }

    bool repeat(std::uint64_t times, std::uint64_t moreSkips)
    {
        Cost &latest = group().latest;
        latest = {latest.elements * times, latest.skips * times + moreSkips};
        return latest.isWithinLimits();
    }

    /// "{n}", "{n,}", "{,m}" or "{n,m}"; anything else is a brace that stands for itself.
    bool readCount()
    {
        const QByteArrayView start = rest;
        const std::uint64_t least = readNumber();
        std::uint64_t most = least;
        if (!rest.isEmpty() && rest.front() == ',') {
            take();
            const bool isOpen = !rest.isEmpty() && rest.front() == '}';
            most = isOpen ? least + 1 : readNumber();
        }
        if (rest.isEmpty() || rest.front() != '}') {
            rest = start;
            return addElement({1, 0});
        }
        take();
        return repeat(std::max<std::uint64_t>(most, 1), most > least ? most - least : 1);
    }

    std::uint64_t readNumber()
    {
        std::uint64_t number = 0;
        while (!rest.isEmpty() && rest.front() >= '0' && rest.front() <= '9')
            number = std::min(number * 10 + static_cast<std::uint64_t>(take() - '0'), kMaximumCount + 1);
        return number;
    }

    /// Leaves the text behind a bracket expression; its first character may be the closing bracket itself.
    void skipBracket()
    {
        if (!rest.isEmpty() && rest.front() == '^')
            take();
        if (!rest.isEmpty() && rest.front() == ']')
            take();
        while (!rest.isEmpty()) {
            const char character = take();
            if (character == ']')
                return;
            if (character == '[' && !rest.isEmpty() && QByteArrayView(":.=").contains(rest.front()))
                skipClass(take());
        }
    }

    /// Leaves the text behind "[:name:]", "[.name.]" or "[=name=]", of which "[:" has been read.
    void skipClass(char mark)
    {
        const char end[] = {mark, ']'};
        const qsizetype position = rest.indexOf(QByteArrayView(end, 2));
        rest = position < 0 ? QByteArrayView() : rest.sliced(position + 2);
    }

    QByteArrayView rest;
    std::size_t depth = 0;
    std::array<Group, kMaximumDepth + 1> groups;
};

} // namespace

bool patternIsWithinLimits(QByteArrayView pattern)
{
    return pattern.size() <= kMaximumLength && Scanner(pattern).isWithinLimits();
}

} // namespace KVBase

#include "Platform/Services/Service.h"

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

struct Greeter {
    virtual ~Greeter() = default;
    virtual int number() const = 0;
    static Greeter *makeDefault();
};

struct NumberedGreeter : Greeter {
    explicit NumberedGreeter(int given) : value(given) {}
    int number() const override { return value; }
    int value;
};

Greeter *Greeter::makeDefault()
{
    static NumberedGreeter greeter(1);
    return &greeter;
}

TEST(ServiceTest, AnswersTheDefaultUntilAGuardReplacesIt)
{
    EXPECT_EQ(Service<Greeter>::current()->number(), 1);
    NumberedGreeter second(2);
    NumberedGreeter third(3);
    {
        ScopedService<Greeter> outer(&second);
        EXPECT_EQ(Service<Greeter>::current()->number(), 2);
        {
            ScopedService<Greeter> inner(&third);
            EXPECT_EQ(Service<Greeter>::current()->number(), 3);
        }
        EXPECT_EQ(Service<Greeter>::current()->number(), 2);
    }
    EXPECT_EQ(Service<Greeter>::current()->number(), 1);
}

} // namespace
} // namespace KVBase

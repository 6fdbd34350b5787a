#include <KVBase/Platform/NSClass.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

using namespace KVBase;

class NSClassTestAnimal : public QObject {
    Q_OBJECT
};

class NSClassTestDog : public NSClassTestAnimal {
    Q_OBJECT
};

namespace Zoo
{
class NSClassTestCat : public NSClassTestAnimal {
    Q_OBJECT
};
} // namespace Zoo

TEST(NSClassTest, AClassIsThereWhileItIsRegistered)
{
    QObject classObject;
    EXPECT_EQ(NSClassFromString("NSClassTestThing"), nullptr);
    {
        const NSClassRegistration registration("NSClassTestThing", &classObject);
        EXPECT_EQ(NSClassFromString("NSClassTestThing"), &classObject);
    }
    EXPECT_EQ(NSClassFromString("NSClassTestThing"), nullptr);
    EXPECT_EQ(NSClassFromString(QString()), nullptr);
    EXPECT_EQ(NSClassFromString(""), nullptr);
}

TEST(NSClassTest, TheFrameworksOwnClassesAreThereWithoutARegistration)
{
    for (const char *name : {"KVBackgroundThread", "KVMutableArray", "CSRegex", "KVPathUtils", "NSBundle"})
        EXPECT_NE(NSClassFromString(QString::fromUtf8(name)), nullptr) << name;
    EXPECT_EQ(NSClassFromString("KVBackgroundThread"), NSClassFromString("KVBackgroundThread"));
    EXPECT_NE(NSClassFromString("KVBackgroundThread"), NSClassFromString("KVMutableArray"));
    EXPECT_EQ(NSClassFromString("KVNoSuchClass"), nullptr);
}

TEST(NSClassTest, ALaterRegistrationWinsUntilItEnds)
{
    QObject first;
    QObject second;
    auto early = std::make_unique<NSClassRegistration>("NSClassTestThing", &first);
    auto late = std::make_unique<NSClassRegistration>("NSClassTestThing", &second);
    EXPECT_EQ(NSClassFromString("NSClassTestThing"), &second);
    late.reset();
    EXPECT_EQ(NSClassFromString("NSClassTestThing"), &first);
    late = std::make_unique<NSClassRegistration>("NSClassTestThing", &second);
    early.reset();
    EXPECT_EQ(NSClassFromString("NSClassTestThing"), &second);
}

TEST(NSClassTest, TheNearestRegisteredClassOfAnObjectCounts)
{
    QObject animalClass;
    QObject catClass;
    const NSClassTestDog dog;
    const Zoo::NSClassTestCat cat;
    EXPECT_EQ(NSClassOfObject(&dog), nullptr);
    const NSClassRegistration animal("NSClassTestAnimal", &animalClass);
    EXPECT_EQ(NSClassOfObject(&dog), &animalClass);
    const NSClassRegistration registration("NSClassTestCat", &catClass);
    EXPECT_EQ(NSClassOfObject(&cat), &catClass);
    EXPECT_EQ(NSClassOfObject(nullptr), nullptr);
}

TEST(NSClassThreads, RegistrationsAndQuestionsMayMeet)
{
    QObject classObject;
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number)
        threads.emplace_back([&classObject] {
            for (int round = 0; round < 500; ++round) {
                const NSClassRegistration registration("NSClassTestBusy", &classObject);
                EXPECT_EQ(NSClassFromString("NSClassTestBusy"), &classObject);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(NSClassFromString("NSClassTestBusy"), nullptr);
}

#include "NSClassTest.moc"

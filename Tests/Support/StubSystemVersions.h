#pragma once

#include "Platform/Services/SystemVersions.h"

namespace KVBase::Tests
{

/// A system of the test's making: what is negative or nil is not known.
struct StubSystemVersions : SystemVersions {
    std::int32_t packed = 0x1058;
    std::int32_t majorRelease = 10;
    std::int32_t minorRelease = 5;
    std::int32_t mediaFramework = -1;
    QString product = QStringLiteral("10.5.8");
    QString build = QStringLiteral("9L31a");
    double foundation = 1000.0;
    double appKit = 1000.0;
    int questions = 0;

    OSStatus gestalt(OSType selector, std::int32_t *response) override
    {
        ++questions;
        const std::int32_t answer = answerTo(selector);
        if (answer < 0)
            return kGestaltUndefinedSelector;
        *response = answer;
        return 0;
    }

    QString productVersion() override { return product; }
    QString productBuildVersion() override { return build; }
    double foundationVersionNumber() override { return foundation; }
    double appKitVersionNumber() override { return appKit; }

private:
    std::int32_t answerTo(OSType selector) const
    {
        switch (selector) {
        case kGestaltSystemVersion:
            return packed;
        case kGestaltSystemVersionMajor:
            return majorRelease;
        case kGestaltSystemVersionMinor:
            return minorRelease;
        case kGestaltQuickTimeVersion:
            return mediaFramework;
        default:
            return -1;
        }
    }
};

} // namespace KVBase::Tests

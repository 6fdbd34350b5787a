#pragma once

#include <QtCore/QtGlobal>
#include <QtGui/QGuiApplication>

namespace KVBase::Tests
{

/// Makes an application without a display where there is none yet; it stays for the process.
inline void makeOffscreenApplication()
{
    static int argc = 1;
    static char name[] = "test";
    static char *argv[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (QCoreApplication::instance() == nullptr)
        static QGuiApplication application(argc, argv);
}

} // namespace KVBase::Tests

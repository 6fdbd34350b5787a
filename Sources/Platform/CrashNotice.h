#pragma once

#include <cstdint>

namespace KVBase
{

/// What a dying process hands its report program through a pipe, as it lies in memory: both are built
/// together. Texts end with a NUL and are cut to fit.
struct CrashNotice {
    static constexpr std::uint32_t kMagic = 0x4b564352;
    static constexpr int kMostRegisters = 33;

    std::uint32_t magic = kMagic;
    std::int32_t process = 0;
    std::int32_t thread = 0;
    std::int32_t signal = 0;
    std::int32_t code = 0;
    std::uint32_t registerCount = 0;
    std::uint64_t faultAddress = 0;
    std::uint64_t programCounter = 0;

    /// The general registers of the thread that crashed, numbered as in call-frame information: on x86-64
    /// rax, rdx, rcx, rbx, rsi, rdi, rbp, rsp, r8 to r15, rip; on 64-bit ARM x0 to x30, sp, pc.
    std::uint64_t registers[kMostRegisters] = {};

    char program[256] = {};
    char identifier[256] = {};
    char version[256] = {};
    char system[256] = {};
    char folder[4096] = {};
};

} // namespace KVBase

#include "adapter/linux/arbeitsfaden_linux.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>

TEST(ArbeitsfadenLinux, LowersTheCallingThreadAndThoseItStartsButNoOther) {
    auto const rang = [] {
        return ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()));
    };
    auto const vorher = rang();
    int imFaden = -100;
    int imKind = -100;
    std::thread{[&] {
        quillmate::adapter::linux::ArbeitsfadenLinux{}.alsHilfsarbeit();
        imFaden = rang();
        std::thread{[&] {
            imKind = rang();
        }}.join();
    }}.join();
    EXPECT_GE(imFaden, 10);
    EXPECT_EQ(imKind, imFaden);
    EXPECT_EQ(rang(), vorher);
}

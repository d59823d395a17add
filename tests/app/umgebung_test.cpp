#include "app/umgebung.h"

#include <gtest/gtest.h>
#include <stdlib.h> // setenv
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <functional>
#include <optional>
#include <string>

using namespace quillmate;

namespace {

std::optional<std::string> wert(char const* name) {
    char const* const gefunden = ::getenv(name);
    return gefunden ? std::optional<std::string>{gefunden} : std::nullopt;
}

/// The environment belongs to a process, so each case has one of its own. Whether all that `pruefen` looks at is so.
bool imKind(std::function<bool()> const& pruefen) {
    auto const kind = ::fork();
    if (kind == 0) {
        for (auto const* const name :
             {"LANGUAGE", "LANG", "LC_ALL", "LC_MESSAGES", "WEBKIT_INSPECTOR_SERVER",
              "WEBKIT_INSPECTOR_HTTP_SERVER", "WEBKIT_INJECTED_BUNDLE_PATH"})
            ::unsetenv(name);
        ::_exit(pruefen() ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    return ausgang == 0;
}

} // namespace

TEST(Umgebung, TheLibrariesSpeakGermanInASessionOfAnotherLanguage) {
    EXPECT_TRUE(imKind([] {
        ::setenv("LANGUAGE", "en_US:en", 1);
        auto const vorher = app::umgebung::einrichten(true);
        return wert("LANGUAGE") == "de" && vorher.at("LANGUAGE") == "en_US:en";
    }));
}

TEST(Umgebung, WhereTheSessionHasNoLocaleThereIsOneThatTranslates) {
    for (auto const* const gesetzt : {"", "C", "POSIX", "gibt_es_nicht"})
        EXPECT_TRUE(imKind([gesetzt] {
            if (*gesetzt)
                ::setenv("LC_ALL", gesetzt, 1);
            auto const vorher = app::umgebung::einrichten(true);
            auto const davor = *gesetzt ? std::optional<std::string>{gesetzt} : std::nullopt;
            return std::string{std::setlocale(LC_MESSAGES, nullptr)} == "C.UTF-8" &&
                   vorher.at("LC_ALL") == davor;
        })) << gesetzt;
}

TEST(Umgebung, ALocaleOfTheSessionStaysAsItIs) {
    EXPECT_TRUE(imKind([] {
        ::setenv("LC_ALL", "C.UTF-8", 1);
        auto const vorher = app::umgebung::einrichten(true);
        return wert("LC_ALL") == "C.UTF-8" && !vorher.contains("LC_ALL");
    }));
}

TEST(Umgebung, WithoutAGraphicsProcessorTheToolkitLooksForNoGraphicsLibrary) {
    EXPECT_TRUE(imKind([] {
        ::unsetenv("GDK_DEBUG");
        auto const vorher = app::umgebung::einrichten(false);
        return wert("GDK_DEBUG") == "gl-disable" && vorher.at("GDK_DEBUG") == std::nullopt;
    }));
    EXPECT_TRUE(imKind([] {
        ::setenv("GDK_DEBUG", "events", 1);
        auto const vorher = app::umgebung::einrichten(false);
        return wert("GDK_DEBUG") == "events" && !vorher.contains("GDK_DEBUG");
    })) << "what the user has set stays";
}

TEST(Umgebung, NoOtherProgramGetsAWayIntoTheEngine) {
    for (auto const* const name :
         {"WEBKIT_INSPECTOR_SERVER", "WEBKIT_INSPECTOR_HTTP_SERVER", "WEBKIT_INJECTED_BUNDLE_PATH"})
        EXPECT_TRUE(imKind([name] {
            ::setenv(name, "127.0.0.1:1", 1);
            auto const vorher = app::umgebung::einrichten(true);
            return !wert(name) && vorher.at(name) == "127.0.0.1:1";
        })) << name;
}

TEST(Umgebung, WhatWasNotThereIsToldApartFromWhatWasEmpty) {
    EXPECT_TRUE(imKind([] { return app::umgebung::einrichten(true).at("LANGUAGE") == std::nullopt; }));
    EXPECT_TRUE(imKind([] {
        ::setenv("LANGUAGE", "", 1);
        return app::umgebung::einrichten(true).at("LANGUAGE") == "";
    }));
}

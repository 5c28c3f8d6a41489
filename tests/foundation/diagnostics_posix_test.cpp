#include <trelis/foundation/diagnostics.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace {

std::wstring received;

// The printf of other platforms is not always that of the language's standard.
TEST(TraceFormats, PrintNumbersAsPrintfDoes) {
    SetDebugOutput([](const wchar_t* message) { received = message; });
    const auto expectSame = [](std::string directive, const char* conversion, auto value) {
        directive += conversion;
        char expected[400];
        const int length = std::snprintf(expected, sizeof(expected), directive.c_str(), value);
        TrelisTrace(std::wstring(directive.begin(), directive.end()).c_str(), value);
        EXPECT_EQ(received, std::wstring(expected, expected + length)) << directive;
    };
    for (const std::string flags : {"", "-", "+", " ", "0", "-0", "+0", " 0", "-+ 0"}) {
        for (const std::string size : {"", "1", "9", ".0", ".3", "9.0", "9.4", "30.25"}) {
            const std::string start = std::string("%").append(flags).append(size);
            const std::string alternate = std::string("%#").append(flags).append(size);
            for (const long long value : {0LL, 1LL, -1LL, 4711LL, -5000000000LL, 1LL << 63}) {
                for (const char* conversion : {"lld", "lli", "llu", "llo", "llx", "llX"}) {
                    expectSame(start, conversion, value);
                    expectSame(alternate, conversion, value);
                }
                for (const char* conversion : {"d", "u", "x", "hd", "hu", "hhd", "hhu"}) {
                    expectSame(start, conversion, static_cast<int>(value));
                }
            }
            for (const double value : {0.0, -0.0, 1.0, -2.5, 1.005, 123456.5, 9.9995e-5, 6e22,
                                       1e300, 5e-324, 1.0 / 0.0, -1.0 / 0.0}) {
                for (const char* conversion : {"f", "F", "e", "E", "g", "G"}) {
                    expectSame(start, conversion, value);
                }
            }
        }
    }
    SetDebugOutput(nullptr);
}

}  // namespace

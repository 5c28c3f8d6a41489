#include <trelis/foundation/diagnostics.h>

#include <climits>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::wstring> received;

/// Collects messages while a test runs.
class Diagnostics : public testing::Test {
  protected:
    Diagnostics() {
        received.clear();
        SetDebugOutput([](const wchar_t* message) { received.emplace_back(message); });
    }
    ~Diagnostics() override { SetDebugOutput(nullptr); }
};

using DiagnosticsDeathTest = Diagnostics;

TEST_F(Diagnostics, TraceFormatsArriveIntact) {
    const std::size_t size = 123456789012345U;
    TrelisTrace(L"CleanCache: Removed '%s', %Iu bytes, %3Iu files\n",
                L"/tmp/\u00e4\u4e2d\U0001F9E0", size, std::size_t{7});
    TrelisTrace(L"%S|%-6s|%.2s|%c|%C|%I64d|%I32x|%ls|%hs|%d%%|%.*f", "caf\xC3\xA9", L"ab", L"xyz",
                L'\u00e9', 'n', -5000000000LL, 255U, L"wide", "thin", -3, 2, 1.005);
    TrelisTrace(
        L"%+d|% 5i|%-5u|%05.1f|%#x|%#o|%+u|%.0d|%hhd|%12.6f|%-+9.2e|%g|%G|%.3S|%5c|%p|%.0c|%Ld|"
        L"%.*5d|%q",
        7, -7, 7U, -2.25, 255U, 8U, 9U, 0, 511, -1e-7, 6e22, 1e-5, -1.0 / 0.0,
        "\xE4\xB8\xAD\xFF\xC3\xA9x", L'!', nullptr, L'c', -5000000000LL, INT_MIN);
    EXPECT_EQ(received,
              (std::vector<std::wstring>{
                  L"CleanCache: Removed '/tmp/\u00e4\u4e2d\U0001F9E0', 123456789012345 "
                  L"bytes,   7 files\n",
                  L"caf\u00e9|ab    |xy|\u00e9|n|-5000000000|ff|wide|thin|-3%|1.00",
                  L"+7|   -7|7    |-02.2|0xff|010|9||-1|   -0.000000|+6.00e+22|1e-05|-INF|"
                  L"\u4e2d\uFFFD\u00e9|    !|0x0|c|-5000000000|5d|q"}));
}

TEST_F(Diagnostics, TraceIsCutAt1023Characters) {
    const std::wstring text(5000, L'x');
    TrelisTrace(L"<%s>", text.c_str());
    TrelisTrace(L"%s!", std::wstring(1022, L'y').c_str());
    TrelisTrace(L"%s!", std::wstring(1023, L'z').c_str());
    EXPECT_EQ(received[0], L"<" + std::wstring(1022, L'x'));
    EXPECT_EQ(received[1], std::wstring(1022, L'y') + L"!");
    EXPECT_EQ(received[2], std::wstring(1023, L'z'));
    // Where it takes a pair of elements, no half of it remains.
    const std::wstring character = L"\U0001F9E0";
    const std::wstring inOneElement = character.size() == 1 ? character : L"";
    TrelisTrace(L"%.1s|%.1S|", character.c_str(), "\xF0\x9F\xA7\xA0");
    TrelisTrace(L"%s", (std::wstring(1022, L'a') + character).c_str());
    EXPECT_EQ(received[3], inOneElement + L"|" + inOneElement + L"|");
    EXPECT_EQ(received[4], std::wstring(1022, L'a') + inOneElement);
}

TEST_F(DiagnosticsDeathTest, CrashSendsItsMessageWholeAndAsItStands) {
    const std::wstring longMessage = std::wstring(6000, L'm') + L" %s %n \u00b5 end";
    EXPECT_DEATH(Crash(longMessage.c_str()),
                 "^" + std::string(6000, 'm') + " %s %n \xC2\xB5 end\n");
    EXPECT_DEATH(
        {
            SetDebugOutput([](const wchar_t* message) {
                if (std::wstring(message) == L"z argument out of range") {
                    _exit(3);
                }
            });
            Crash(L"z argument out of range");
        },
        "z argument out of range");
}

}  // namespace

#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/locale.h>
#include <tlvutl/profile.h>
#include <tlvutl/units.h>

#include "environment/temp_dir.h"
#include "units/units_internal.h"

#include "cstring_printer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <string>

namespace {

constexpr double kPerInch = 254000.0;

// Points the folders at a fresh tree; the common ini file starts with the given section.
class CustomUnits : public ::testing::Test {
protected:
    void SetUp() override {
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::AppData, (dir / "appdata").wstring());
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Config, (dir / "config").wstring());
        ini = INIGetCommonIniFile().str();
    }
    void TearDown() override {
        while (UNITGetCustomUnitManager())
            UNITCustomUnInitialize();
        TlvUtl::ResetFolderCaches();
    }
    void WriteIni(const std::string& text) {
        TempDir::Write(std::filesystem::path(ini), text);
        TlvUtl::Win32::WritePrivateProfileStringW(nullptr, nullptr, nullptr, ini.c_str());
    }
    std::string ReadIni() { return TempDir::Read(std::filesystem::path(ini)); }
    static UNIT_CUSTOM_RECORD Record(int unit) {
        UNIT_CUSTOM_RECORD r{};
        EXPECT_TRUE(UNITGetCustomUnitRecord(unit, &r)) << unit;
        return r;
    }

    TempDir dir;
    std::wstring ini;
};

const char kSection[] = "[Custom Unit(s)]\r\n"
                        "CustomUnit0=hand,hands,hh,H,4.000000,1,0.500000,1.000000,2.000000,2\r\n"
                        "CustomUnit1=broken,,,\r\n"
                        "CustomUnit2=zero,zeros,z,Z,0,1,1,1,1,1\r\n"
                        "CustomUnit3=step,steps,st,,750,2,1,10,100,0\r\n"
                        "CustomUnit5=odd,odds,o,O,1.5,99,1,1,1,1\r\n"
                        "Other=kept\r\n";

TEST_F(CustomUnits, RecordsOfSizeZeroAreSkippedAndTheRestRegistered) {
    WriteIni(kSection);
    ASSERT_EQ(UNITCustomInitialize(), 1);
    EXPECT_EQ(UNITGetCustomUnitCount(), 3); // hand, step and odd
    // The records' fields are checked through the saved text, byte for byte, below.
    EXPECT_NEAR(UNITConvertUnitToBase(42, 1.0, 0), 4 * kPerInch, 1e-6);
    EXPECT_EQ(UNITConvToUnitAndStringEx(6 * kPerInch, 42, 0, UNITFMT_UNIT_NAME, 0),
              CString(L"1.5 hh"));
    EXPECT_EQ(UNITGetDefDecimalPrecision(42), 2);
    EXPECT_EQ(UNITGetIncrement(42, 1), 1.0);
    WUnit* manager = UNITGetCustomUnitManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager->DisplayUnitValueAsString(42, 1.5, 4, 0), CString(L"1.5H"));
    EXPECT_EQ(manager->GetMaxUnitRange(), 44);
    // A reference unit that does not exist keeps the record; it converts to nothing.
    EXPECT_EQ(Record(44).referenceUnit, 99);
    EXPECT_EQ(UNITConvertUnitToBase(44, 1.0, 0), 0.0);

    EXPECT_EQ(UNITIsValidCustomUnit(41), 0);
    EXPECT_EQ(UNITIsValidCustomUnit(42), 1);
    EXPECT_EQ(UNITIsValidCustomUnit(45), 1); // one beyond the last, as always
    EXPECT_EQ(UNITIsValidCustomUnit(46), 0);
    EXPECT_EQ(UNITCustomUnitMappedUsing(43), 1);
    EXPECT_EQ(UNITCustomUnitMappedUsing(44), 99);
    EXPECT_EQ(UNITCustomUnitMappedUsing(46), 0);
    double max = 0, min = 0;
    GetGridFreqLimits(44, &max, &min, 0);
    EXPECT_EQ(max, 200.0);

    const int* list = UNITGetUnitArray();
    EXPECT_EQ(list[15], 41);
    EXPECT_EQ(list[18], 44);
    EXPECT_EQ(list[19], -1);
}

TEST_F(CustomUnits, SavingKeepsWhatWasNotReadAndIsStableByteForByte) {
    WriteIni(kSection);
    UNITCustomInitialize();
    UNITCustomUnInitialize();
    const std::string once = ReadIni();
    EXPECT_EQ(once, "[Custom Unit(s)]\r\n"
                    "CustomUnit0=hand,hands,hh,H,4.000000,1,0.500000,1.000000,2.000000,2\r\n"
                    "CustomUnit1=broken,,,\r\n"
                    "CustomUnit2=zero,zeros,z,Z,0,1,1,1,1,1\r\n"
                    "CustomUnit3=step,steps,st,750,2.000000,1,10.000000,100.000000,0.000000,0\r\n"
                    "CustomUnit5=odd,odds,o,O,1.500000,99,1.000000,1.000000,1.000000,1\r\n"
                    "Other=kept\r\n");
    UNITCustomInitialize();
    const UNIT_CUSTOM_RECORD hand = Record(42), step = Record(43);
    UNITCustomUnInitialize();
    EXPECT_EQ(ReadIni(), once);
    UNITCustomInitialize();
    const UNIT_CUSTOM_RECORD hand2 = Record(42), step2 = Record(43);
    EXPECT_EQ(std::memcmp(&hand, &hand2, sizeof hand), 0);
    EXPECT_EQ(std::memcmp(&step, &step2, sizeof step), 0);
}

TEST_F(CustomUnits, InitialisationNests) {
    WriteIni(kSection);
    EXPECT_EQ(UNITCustomInitialize(), 1);
    EXPECT_EQ(UNITCustomInitialize(), 1);
    WriteIni("[Custom Unit(s)]\r\n"); // a second initialise does not read again
    EXPECT_EQ(UNITGetCustomUnitCount(), 3);
    EXPECT_EQ(UNITCustomUnInitialize(), 1);
    EXPECT_NE(UNITGetCustomUnitManager(), nullptr);
    EXPECT_EQ(ReadIni(), "[Custom Unit(s)]\r\n");
    EXPECT_EQ(UNITCustomUnInitialize(), 1);
    EXPECT_EQ(UNITGetCustomUnitManager(), nullptr);
    EXPECT_EQ(UNITGetCustomUnitCount(), 0);
    EXPECT_NE(ReadIni().find("CustomUnit3=step"), std::string::npos);
    EXPECT_EQ(UNITCustomUnInitialize(), 1);
}

TEST_F(CustomUnits, AddedUnitsTakeAFreeKeyAndWriteEmptyFieldsEmpty) {
    WriteIni(kSection);
    UNITCustomInitialize();
    TlvUtl::ScriptedCustomUnitEditor cancel;
    int unit = -1;
    EXPECT_EQ(UNITAddNewCustomUnit(&cancel, 12.0, &unit), 0);
    EXPECT_EQ(unit, -1);
    EXPECT_EQ(cancel.Seen().size, 1.0);
    EXPECT_EQ(cancel.Seen().increments[2], 0.5);
    EXPECT_EQ(cancel.Seen().referenceUnit, 0);

    UNIT_CUSTOM_RECORD r{};
    std::wcscpy(r.name1, L"chain");
    std::wcscpy(r.name2, L"chains");
    std::wcscpy(r.name3, L"ch");
    r.size = 20.1168;
    r.referenceUnit = 9;
    r.increments[0] = 1, r.increments[1] = 5, r.increments[2] = 10;
    r.decimals = 3;
    TlvUtl::ScriptedCustomUnitEditor ok(r);
    ASSERT_EQ(UNITAddNewCustomUnit(&ok, 0.0, &unit), 1);
    EXPECT_EQ(unit, 45);
    EXPECT_NEAR(UNITConvertUnitToBase(45, 1.0, 0), 201168000.0, 1e-4);

    UNIT_CUSTOM_RECORD comma = r;
    std::wcscpy(comma.name1, L"a,b");
    TlvUtl::ScriptedCustomUnitEditor bad(comma);
    EXPECT_EQ(UNITAddNewCustomUnit(&bad, 0.0, &unit), 0);

    UNITCustomUnInitialize();
    // Keys 1 and 2 hold lines that were not read; the new unit goes to 4, its empty symbol
    // written empty.
    EXPECT_NE(ReadIni().find("CustomUnit4=chain,chains,ch,,20.116800,9,1.000000,5.000000,"
                             "10.000000,3\r\n"),
              std::string::npos)
        << ReadIni();
}

TEST_F(CustomUnits, DeletingRenumbersAndRemovesTheKey) {
    WriteIni(kSection);
    UNITCustomInitialize();
    EXPECT_EQ(UNITDeleteCustomUnit(41), 0);
    EXPECT_EQ(UNITDeleteCustomUnit(45), 0);
    EXPECT_EQ(UNITDeleteCustomUnit(42), 1);
    EXPECT_EQ(UNITGetCustomUnitCount(), 2);
    EXPECT_STREQ(Record(42).name1, L"step");
    EXPECT_NEAR(UNITConvertUnitToBase(42, 1.0, 0), 2 * kPerInch, 1e-6);
    UNITCustomUnInitialize();
    const std::string text = ReadIni();
    EXPECT_EQ(text.find("CustomUnit0="), std::string::npos);
    EXPECT_NE(text.find("CustomUnit1=broken"), std::string::npos);
    EXPECT_NE(text.find("CustomUnit3=step"), std::string::npos);
}

TEST_F(CustomUnits, AtMostTheMaximumIsRead) {
    std::string text = "[Custom Unit(s)]\r\n";
    for (int i = 0; i < 40; ++i)
        text += "CustomUnit" + std::to_string(i) + "=u" + std::to_string(i) + ",us,u,,1,2,1,1\r\n";
    WriteIni(text);
    UNITCustomInitialize();
    EXPECT_EQ(UNITGetCustomUnitCount(), 32);
    UNITCustomUnInitialize();
    WriteIni("[Custom Unit(s)]\r\nMaxNoOfCustomUnits=3\r\n" + text.substr(18));
    UNITCustomInitialize();
    EXPECT_EQ(UNITGetCustomUnitCount(), 3);
    EXPECT_EQ(UNITIsValidCustomUnit(45), 1);
    const int* list = UNITGetUnitArray();
    EXPECT_EQ(list[19], -1);
}

TEST(CustomUnitLine, TokenizerRules) {
    UNIT_CUSTOM_RECORD r{};
    ASSERT_TRUE(tlv::units::ParseCustomUnitLine(L"n1,,n2,n3,sym,2.5,2", r));
    EXPECT_STREQ(r.name2, L"n2");
    EXPECT_STREQ(r.symbol, L"sym");
    EXPECT_EQ(r.size, 2.5);
    EXPECT_EQ(r.referenceUnit, 2);
    EXPECT_EQ(r.decimals, 0);
    ASSERT_TRUE(tlv::units::ParseCustomUnitLine(L"a,b,c,d,3", r));
    EXPECT_EQ(r.referenceUnit, 1); // missing: inches
    ASSERT_TRUE(tlv::units::ParseCustomUnitLine(
        L"abcdefghijklmnopqrstuvwxyz,abcdefghijklmnopqrstuvwxyz,x,y,1e1,5,1,2,3,4,extra", r));
    EXPECT_EQ(std::wcslen(r.name1), 20u);
    EXPECT_EQ(std::wcslen(r.name2), 22u);
    EXPECT_EQ(r.size, 10.0);
    EXPECT_EQ(r.decimals, 4);
    // Only a size of 0, or none, skips a record.
    for (const wchar_t* bad : {L"", L",,,,", L"a,b,c,d", L"a,b,c,d,0", L"a,b,c,d,x,1"})
        EXPECT_FALSE(tlv::units::ParseCustomUnitLine(bad, r)) << TlvUtils::ToUtf8(bad);
    for (const wchar_t* kept : {L"a,b,c,d,1,41", L"a,b,c,d,1,42", L"a,b,c,d,1,-1", L"a,b,c,d,inf"})
        EXPECT_TRUE(tlv::units::ParseCustomUnitLine(kept, r)) << TlvUtils::ToUtf8(kept);
    EXPECT_EQ(r.size, HUGE_VAL);
    // Written back, empty names stay empty.
    UNIT_CUSTOM_RECORD e{};
    std::wcscpy(e.name1, L"n");
    e.size = 2;
    e.referenceUnit = 1;
    EXPECT_EQ(tlv::units::FormatCustomUnitLine(e),
              CString(L"n,,,,2.000000,1,0.000000,0.000000,0.000000,0"));
}

} // namespace

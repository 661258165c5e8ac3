// The paper catalogue: the page sizes every application of the suite offers, shared through
// one process-wide CPaperTypeMgr.
//
// The catalogue lives in "PaperTypes.xml" in the per-user configuration folder
// (GetUserProfileConfigDir); when that file is missing, the installation's copy
// (INIGetConfigDir) is copied there first. It holds the predefined papers (ids 1 to 70, named
// by the string resources 19741 + id), the user's custom papers, and one "pageset" per
// measuring system with the display order and the most-recently-used list. GetInstance loads
// it on first use; Shutdown writes it back and destroys the manager. Edits stay in memory
// until Shutdown. A file that is missing, unreadable, not well-formed or whose document
// element is not "PageSizes" leaves the catalogue empty, and then Shutdown writes nothing.
// Elements with a bad id, a negative or oversized size, or units other than "in", "mm" and
// "px" are skipped.
//
// Sizes are 32-bit integers in tenths of a micron (1/10000 mm; one inch is 254000). The file
// gives them in their entry unit; reading converts with round-half-up: inches x 254000,
// millimetres x 10000, pixels x 254000 / dpi (dpi defaults to 96), and a pixel paper's
// resolutions are dpi x 100000 / 2.54 + 0.5 (pixels per metre x 100). Writing gives the
// shortest decimal that reads back to the same integer, so a saved file reloads and saves
// again byte for byte.
//
// Sizes compare exactly on the integers. "Rotated" searches also accept a paper whose width
// is the other's height and whose height is the other's width; the first match in catalogue
// order wins.
//
// Indices run over the whole catalogue: the predefined papers in file order, then the custom
// papers (so an index from FindCustomPaperIndex is at least GetPredefinedCount()). Index and
// id searches return -1 when nothing matches. Hidden predefined papers are in the catalogue;
// IsHidden tells callers which to leave out of their lists.
//
// Settled here:
// - Custom papers carry ids above 1000, unique in the catalogue. AddCustomPaper(info, keepId)
//   keeps info.type when keepId is set and the id is above 70 and still free (as when the
//   catalogue is loaded); otherwise the paper gets the next id after the highest custom id
//   (at least 1001). A paper whose exact size is already in the catalogue (predefined or
//   custom, same orientation) is not added: info then describes that paper.
// - The identifier string (GetPaperGUIDAt, PaperTypeInformation::identifier) is a GUID in
//   braces derived from the id, "{54504150-4552-4000-8000-" + 12 hex digits of the id + "}":
//   stable across sessions and languages. A deleted custom paper's id, and so its
//   identifier, can be given to the next custom paper added.
// - The MRU list holds at most GetMaxMRUSize() ids (5 unless set). AddMRUItem puts the id
//   first, removes its earlier occurrence and drops ids beyond the maximum from the end.
//   SetMaxMRUSize trims at once. A list read from the file is cleaned the same way.
// - The printer codes are the Windows DMPAPER values; a paper without its own code maps to
//   DMPAPER_USER (256), and a code without a paper in the table maps to PAPER_CUSTOM.
//
// Not thread-safe: one thread at a time uses the manager (as a rule the user-interface
// thread); only its creation is guarded.
#ifndef TLVUTL_PAPER_H
#define TLVUTL_PAPER_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>
#include <tlvutl/xml.h>

#include <vector>

// The predefined papers of the installed catalogue. Every other non-negative id is valid too:
// ids above 70 belong to custom papers.
enum PaperType : int {
    PAPER_CUSTOM = 0,
    PAPER_LETTER = 1,
    PAPER_LEGAL = 2,
    PAPER_TABLOID = 3,
    PAPER_LEDGER = 4,
    PAPER_EXECUTIVE = 5,
    PAPER_STATEMENT = 6,
    PAPER_FOLIO = 7,
    PAPER_TABLOID_EXTRA = 8,
    PAPER_ANSI_C = 9,
    PAPER_ANSI_D = 10,
    PAPER_ANSI_E = 11,
    PAPER_ARCH_A = 12,
    PAPER_ARCH_B = 13,
    PAPER_ARCH_C = 14,
    PAPER_ARCH_D = 15,
    PAPER_ARCH_E = 16,
    PAPER_A0 = 17,
    PAPER_A1 = 18,
    PAPER_A2 = 19,
    PAPER_A3 = 20,
    PAPER_A4 = 21,
    PAPER_A5 = 22,
    PAPER_A6 = 23,
    PAPER_A7 = 24,
    PAPER_B0 = 25,
    PAPER_B1 = 26,
    PAPER_B2 = 27,
    PAPER_B3 = 28,
    PAPER_B4 = 29,
    PAPER_B5 = 30,
    PAPER_B6 = 31,
    PAPER_JIS_B4 = 32,
    PAPER_JIS_B5 = 33,
    PAPER_JIS_B6 = 34,
    PAPER_SRA3 = 35,
    PAPER_SUPER_B = 36,
    PAPER_ENV_9 = 37,
    PAPER_ENV_10 = 38,
    PAPER_ENV_MONARCH = 39,
    PAPER_ENV_6_3_4 = 40,
    PAPER_ENV_DL = 41,
    PAPER_ENV_C4 = 42,
    PAPER_ENV_C5 = 43,
    PAPER_ENV_C6 = 44,
    PAPER_ENV_C6_C5 = 45,
    PAPER_INDEX_3X5 = 46,
    PAPER_INDEX_5X8 = 47,
    PAPER_JAPANESE_POSTCARD = 48,
    PAPER_BUSINESS_CARD_US = 49,
    PAPER_BUSINESS_CARD_EU = 50,
    PAPER_PHOTO_4X6 = 51,
    PAPER_PHOTO_5X7 = 52,
    PAPER_PHOTO_8X10 = 53,
    PAPER_PHOTO_10X15 = 54,
    PAPER_PHOTO_13X18 = 55,
    PAPER_CD_COVER = 56,
    PAPER_DVD_COVER = 57,
    PAPER_SCREEN_640X480 = 58,
    PAPER_SCREEN_800X600 = 59,
    PAPER_SCREEN_1024X768 = 60,
    PAPER_SCREEN_1280X720 = 61,
    PAPER_SCREEN_1280X1024 = 62,
    PAPER_SCREEN_1920X1080 = 63,
    PAPER_SCREEN_2560X1440 = 64,
    PAPER_WEB_BANNER = 65,
    PAPER_WEB_LEADERBOARD = 66,
    PAPER_WEB_MEDIUM_RECTANGLE = 67,
    PAPER_WEB_SKYSCRAPER = 68,
    PAPER_PRESENTATION_4_3 = 69,
    PAPER_PRESENTATION_16_9 = 70,
    PAPER_LAST_PREDEFINED = 70,
    PAPER_FIRST_CUSTOM = 1001,
};

// The unit a size was entered in (the unit numbers of the unit registry).
// @{
#define PAPER_UNITS_INCHES 1
#define PAPER_UNITS_MILLIMETERS 2
#define PAPER_UNITS_PIXELS 6
// @}

// String resources: the default name of a custom paper, and the base of predefined names.
#define PAPER_NAME_STRING_BASE 19741u

#ifndef DMPAPER_LETTER
// The printer driver's paper codes this library maps (public Windows values).
// @{
#define DMPAPER_LETTER 1
#define DMPAPER_LETTERSMALL 2
#define DMPAPER_TABLOID 3
#define DMPAPER_LEDGER 4
#define DMPAPER_LEGAL 5
#define DMPAPER_STATEMENT 6
#define DMPAPER_EXECUTIVE 7
#define DMPAPER_A3 8
#define DMPAPER_A4 9
#define DMPAPER_A4SMALL 10
#define DMPAPER_A5 11
#define DMPAPER_B4 12 /* JIS B4, 257 x 364 mm */
#define DMPAPER_B5 13 /* JIS B5, 182 x 257 mm */
#define DMPAPER_FOLIO 14
#define DMPAPER_11X17 17
#define DMPAPER_NOTE 18
#define DMPAPER_ENV_9 19
#define DMPAPER_ENV_10 20
#define DMPAPER_CSHEET 24
#define DMPAPER_DSHEET 25
#define DMPAPER_ESHEET 26
#define DMPAPER_ENV_DL 27
#define DMPAPER_ENV_C5 28
#define DMPAPER_ENV_C4 30
#define DMPAPER_ENV_C6 31
#define DMPAPER_ENV_C65 32
#define DMPAPER_ENV_MONARCH 37
#define DMPAPER_ENV_PERSONAL 38
#define DMPAPER_ISO_B4 42
#define DMPAPER_JAPANESE_POSTCARD 43
#define DMPAPER_LETTER_TRANSVERSE 54
#define DMPAPER_A4_TRANSVERSE 55
#define DMPAPER_A5_TRANSVERSE 61
#define DMPAPER_B5_TRANSVERSE 62
#define DMPAPER_A2 66
#define DMPAPER_A3_TRANSVERSE 67
#define DMPAPER_A6 70
#define DMPAPER_LETTER_ROTATED 75
#define DMPAPER_A3_ROTATED 76
#define DMPAPER_A4_ROTATED 77
#define DMPAPER_A5_ROTATED 78
#define DMPAPER_B4_JIS_ROTATED 79
#define DMPAPER_B5_JIS_ROTATED 80
#define DMPAPER_JAPANESE_POSTCARD_ROTATED 81
#define DMPAPER_A6_ROTATED 83
#define DMPAPER_B6_JIS 88
#define DMPAPER_B6_JIS_ROTATED 89
#define DMPAPER_USER 256
// @}
#endif

// One paper.
struct TLVUTL_API PaperTypeInformation {
    // The paper's id: a PaperType of the installed catalogue, or a custom paper's id (above 1000).
    PaperType type = PAPER_CUSTOM;
    CString name;       // the display name
    CString identifier; // see GetPaperGUIDAt
    int width = 0;      // tenths of a micron
    // Height in tenths of a micron.
    int height = 0;
    bool orientationChangeable = true; // the inverse of "@fixedorientation"
    int units = PAPER_UNITS_INCHES;    // the unit the size was entered in
    int horizontalResolution = 0;      // pixel papers only: dpi x 100000 / 2.54, rounded
    // Vertical resolution of a pixel paper, as horizontalResolution.
    int verticalResolution = 0;
    bool hidden = false; // predefined papers only
};

// The paper catalogue of the process: the predefined and custom papers, their display order and the
// most-recently-used list, loaded from and saved to "PaperTypes.xml" (see the header comment).
// Obtain it with GetInstance.
class TLVUTL_API CPaperTypeMgr {
public:
    // The manager, loaded on the first call (and again on the first call after Shutdown).
    static CPaperTypeMgr* GetInstance();
    // Saves the catalogue (when it was loaded) and destroys the manager.
    static void Shutdown();

    virtual ~CPaperTypeMgr();
    // A copy of the catalogue in memory; only the instance that Shutdown destroys is saved.
    // @{
    CPaperTypeMgr(const CPaperTypeMgr& other);
    CPaperTypeMgr& operator=(const CPaperTypeMgr& other);
    // @}

    // True when "PaperTypes.xml" was loaded (and will be saved).
    bool IsLoaded() const { return loaded_; }

    // Number of papers in the catalogue, and how many of them are predefined (the first ones).
    // @{
    __int64 GetCount() const;
    __int64 GetPredefinedCount() const;
    // @}

    // The first paper with that id.
    bool GetPaperInfo(PaperType type, PaperTypeInformation& info) const;
    // The paper at a catalogue index; false when the index is out of range.
    bool GetPaperInfoAt(__int64 index, PaperTypeInformation& info) const;
    // The paper with that id and that size in either orientation; for PAPER_CUSTOM, the first
    // custom paper of that size in either orientation.
    bool GetPaperInfo(PaperType type, int width, int height, PaperTypeInformation& info) const;
    // The name of the first paper with that id, or of the paper at a catalogue index; false when
    // there is none.
    // @{
    bool GetPaperName(PaperType type, CString& name) const;
    bool GetPaperNameAt(__int64 index, CString& name) const;
    // @}
    // The identifier string of the paper at a catalogue index; false when the index is out of
    // range.
    bool GetPaperGUIDAt(__int64 index, CString& text) const;
    // The hidden flag of the predefined paper with that id (false when there is none).
    bool IsHidden(__int64 id) const;

    // Exact-size searches (no rotation) in one list.
    // @{
    bool FindCustomPaper(int width, int height, PaperTypeInformation& info) const;
    bool FindPredefinedPaper(int width, int height, PaperTypeInformation& info) const;
    // @}
    // The catalogue index of the first custom paper with info's size, or with that name
    // (compared exactly).
    // @{
    __int64 FindCustomPaperIndex(const PaperTypeInformation& info) const;
    __int64 FindCustomPaperIndex(const wchar_t* name) const;
    __int64 FindPredefinedPaperIndex(const PaperTypeInformation& info, bool rotated) const;
    // @}

    // Whether a custom (predefined) paper has info's size.
    // @{
    bool IsCustomPaper(const PaperTypeInformation& info, bool rotated) const;
    bool IsPredefinedPaper(const PaperTypeInformation& info, bool rotated) const;
    // @}
    // Whether a paper stored as (type, width, height) is custom: true unless the predefined
    // paper with that id has that size in either orientation.
    bool IsCustomPaper(PaperType type, int width, int height) const;

    // See the contract above. True when the paper was added; false when its size was found
    // (info then describes the paper found) or the size is negative (info.type is then
    // PAPER_CUSTOM).
    bool AddCustomPaper(PaperTypeInformation& info, bool keepId);
    // Replaces the custom paper with info.type (its id and identifier stay); false when there
    // is none, the size is negative or another paper has the new size exactly.
    bool UpdateCustomPaper(const PaperTypeInformation& info);
    // Removes the custom paper with info.type and its MRU entry; predefined papers cannot be
    // deleted (false).
    bool DeletePaper(const PaperTypeInformation& info);

    // Copies of the current pageset's display order and MRU list.
    std::vector<__int64> GetPaperOrder() const;
    // @{
    std::vector<__int64> GetMRUList() const;
    // Puts id first in the MRU list, removing its earlier place and trimming the list to
    // GetMaxMRUSize().
    void AddMRUItem(__int64 id);
    // Removes id from the MRU list.
    void RemoveMRUItem(__int64 id);
    // Maximum length of the MRU list (5 unless set).
    int GetMaxMRUSize() const;
    // @}
    // Negative sizes count as 0.
    void SetMaxMRUSize(int size);

    // A custom paper of that size (tenths of a micron) entered in units (1, 2 or 6; any
    // other unit is recorded as millimetres), named by string 19741, orientation changeable,
    // and for pixels at 96 dpi.
    static PaperTypeInformation SetCustomPaper(int width, int height, int units);
    // The printer driver's code of a paper id; DMPAPER_USER when the paper has none.
    static short GetDevModeFromPaper(PaperType type);
    // The paper id of a printer driver's code; PAPER_CUSTOM when no paper in the table has it.
    static PaperType GetPaperFromDevMode(short code);
    // Negative values and values beyond 32 bits map to PAPER_CUSTOM.
    static PaperType GetTypeFromInt(__int64 value);

protected:
    CPaperTypeMgr();

    // Load and save the whole catalogue.
    // @{
    virtual bool Initialize();
    virtual void Uninitialize();
    // @}

    // Read one part of the catalogue from the loaded document (predefined papers, the pageset's
    // display order, custom papers, MRU list) into memory.
    // @{
    void LoadPredefinedPapers();
    void LoadPaperOrder();
    void LoadCustomPapers();
    void LoadMRUList();
    // @}
    // Write one part of the catalogue from memory into the document, replacing what it held there.
    // @{
    void SavePredefinedPapers();
    void SaveCustomPapers();
    void SaveMRUList();
    // @}

    // One "size" element. ReadPaper returns false for an element to skip; WritePaper sets
    // the attributes of an element (normally a new one).
    // @{
    bool ReadPaper(WXmlNode& node, PaperTypeInformation& info, bool custom) const;
    void WritePaper(const PaperTypeInformation& info, WXmlNode& node, bool custom) const;
    // @}

    // "/PageSizes/pageset[@system='...']" for the user's location and measuring system.
    CString GetPagesetPath();

private:
    // The pageset's system name: from the user's "locales" entry, else from the measuring
    // system.
    CString HelperPagesetSystem();
    const PaperTypeInformation* At(__int64 index) const;
    __int64 NextCustomId() const;

    WXmlDoc doc_;
    bool loaded_ = false;
    CString path_;          // the user's "PaperTypes.xml"
    CString pagesetSystem_; // chosen when loading, used again when saving
    CString pagesetPath_;
    std::vector<PaperTypeInformation> predefined_;
    std::vector<PaperTypeInformation> custom_;
    std::vector<__int64> order_;
    std::vector<__int64> mru_;
    int maxMru_ = 5;
};

namespace TlvUtl {

// The paper units written in files ("in", "mm", "px"); 0 / empty for others. Names compare
// without regard to case.
// @{
TLVUTL_API int PaperUnitsFromName(const wchar_t* name);
TLVUTL_API const wchar_t* PaperUnitsName(int units);
// @}
// A length in the entry unit to tenths of a micron, rounded half up as the catalogue reads
// sizes; false for a negative or non-finite value, an unknown unit, a non-positive dpi for
// pixels, or a result beyond 32 bits.
TLVUTL_API bool PaperLengthFromUnits(double value, int units, int dpi, int& out);
// The other way, unrounded.
TLVUTL_API double PaperLengthToUnits(int length, int units, int dpi);
// The identifier string of a paper id.
TLVUTL_API CString PaperIdentifier(__int64 id);

} // namespace TlvUtl

#endif

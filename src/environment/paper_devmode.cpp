// Printer paper codes (the DMPAPER values of printer drivers) for the predefined papers.
#include <tlvutl/paper.h>

namespace {

struct CodePair {
    PaperType paper;
    short code;
};

// One code per paper, the paper's own, in the portrait orientation the catalogue gives it.
// Sizes must agree exactly: Tabloid Extra (12 x 18 in), Super B (13 x 19 in), ISO B5
// and the A0/A1/A7 sheets have no code of the same size, and print as DMPAPER_USER.
const CodePair kPaperCodes[] = {
    {PAPER_LETTER, DMPAPER_LETTER},
    {PAPER_LEGAL, DMPAPER_LEGAL},
    {PAPER_TABLOID, DMPAPER_TABLOID},
    {PAPER_LEDGER, DMPAPER_LEDGER},
    {PAPER_EXECUTIVE, DMPAPER_EXECUTIVE},
    {PAPER_STATEMENT, DMPAPER_STATEMENT},
    {PAPER_FOLIO, DMPAPER_FOLIO},
    {PAPER_ANSI_C, DMPAPER_CSHEET},
    {PAPER_ANSI_D, DMPAPER_DSHEET},
    {PAPER_ANSI_E, DMPAPER_ESHEET},
    {PAPER_A2, DMPAPER_A2},
    {PAPER_A3, DMPAPER_A3},
    {PAPER_A4, DMPAPER_A4},
    {PAPER_A5, DMPAPER_A5},
    {PAPER_A6, DMPAPER_A6},
    {PAPER_B4, DMPAPER_ISO_B4},
    {PAPER_JIS_B4, DMPAPER_B4},
    {PAPER_JIS_B5, DMPAPER_B5},
    {PAPER_JIS_B6, DMPAPER_B6_JIS},
    {PAPER_ENV_9, DMPAPER_ENV_9},
    {PAPER_ENV_10, DMPAPER_ENV_10},
    {PAPER_ENV_MONARCH, DMPAPER_ENV_MONARCH},
    {PAPER_ENV_6_3_4, DMPAPER_ENV_PERSONAL},
    {PAPER_ENV_DL, DMPAPER_ENV_DL},
    {PAPER_ENV_C4, DMPAPER_ENV_C4},
    {PAPER_ENV_C5, DMPAPER_ENV_C5},
    {PAPER_ENV_C6, DMPAPER_ENV_C6},
    {PAPER_ENV_C6_C5, DMPAPER_ENV_C65},
    {PAPER_JAPANESE_POSTCARD, DMPAPER_JAPANESE_POSTCARD},
};

// Codes that name the same sheet as a code above: the small-print, note, transverse and
// rotated variants. They map to the paper; the paper maps back to its own code.
const CodePair kAliasCodes[] = {
    {PAPER_LETTER, DMPAPER_LETTERSMALL},
    {PAPER_LETTER, DMPAPER_NOTE},
    {PAPER_LETTER, DMPAPER_LETTER_TRANSVERSE},
    {PAPER_LETTER, DMPAPER_LETTER_ROTATED},
    {PAPER_TABLOID, DMPAPER_11X17},
    {PAPER_A3, DMPAPER_A3_TRANSVERSE},
    {PAPER_A3, DMPAPER_A3_ROTATED},
    {PAPER_A4, DMPAPER_A4SMALL},
    {PAPER_A4, DMPAPER_A4_TRANSVERSE},
    {PAPER_A4, DMPAPER_A4_ROTATED},
    {PAPER_A5, DMPAPER_A5_TRANSVERSE},
    {PAPER_A5, DMPAPER_A5_ROTATED},
    {PAPER_A6, DMPAPER_A6_ROTATED},
    {PAPER_JIS_B4, DMPAPER_B4_JIS_ROTATED},
    {PAPER_JIS_B5, DMPAPER_B5_TRANSVERSE},
    {PAPER_JIS_B5, DMPAPER_B5_JIS_ROTATED},
    {PAPER_JIS_B6, DMPAPER_B6_JIS_ROTATED},
    {PAPER_JAPANESE_POSTCARD, DMPAPER_JAPANESE_POSTCARD_ROTATED},
};

} // namespace

short CPaperTypeMgr::GetDevModeFromPaper(PaperType type) {
    for (const CodePair& pair : kPaperCodes)
        if (pair.paper == type)
            return pair.code;
    return DMPAPER_USER;
}

PaperType CPaperTypeMgr::GetPaperFromDevMode(short code) {
    for (const CodePair& pair : kPaperCodes)
        if (pair.code == code)
            return pair.paper;
    for (const CodePair& pair : kAliasCodes)
        if (pair.code == code)
            return pair.paper;
    return PAPER_CUSTOM;
}

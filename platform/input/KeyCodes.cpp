#include "platform/input/KeyCodes.h"

#include <xkbcommon/xkbcommon-keysyms.h>

namespace vantrel {

namespace {

// Evdev codes (linux/input-event-codes.h), spelled out so that this table
// reads without that header.
constexpr KeyCodeRow kRows[] = {
    // Letters, digits and punctuation of the main block.
    {XKB_KEY_a, 30, 0},
    {XKB_KEY_s, 31, 1},
    {XKB_KEY_d, 32, 2},
    {XKB_KEY_f, 33, 3},
    {XKB_KEY_h, 35, 4},
    {XKB_KEY_g, 34, 5},
    {XKB_KEY_z, 44, 6},
    {XKB_KEY_x, 45, 7},
    {XKB_KEY_c, 46, 8},
    {XKB_KEY_v, 47, 9},
    {0, 86, 10}, // the extra key beside left shift on ISO keyboards
    {XKB_KEY_b, 48, 11},
    {XKB_KEY_q, 16, 12},
    {XKB_KEY_w, 17, 13},
    {XKB_KEY_e, 18, 14},
    {XKB_KEY_r, 19, 15},
    {XKB_KEY_y, 21, 16},
    {XKB_KEY_t, 20, 17},
    {XKB_KEY_1, 2, 18},
    {XKB_KEY_2, 3, 19},
    {XKB_KEY_3, 4, 20},
    {XKB_KEY_4, 5, 21},
    {XKB_KEY_6, 7, 22},
    {XKB_KEY_5, 6, 23},
    {XKB_KEY_equal, 13, 24},
    {XKB_KEY_9, 10, 25},
    {XKB_KEY_7, 8, 26},
    {XKB_KEY_minus, 12, 27},
    {XKB_KEY_8, 9, 28},
    {XKB_KEY_0, 11, 29},
    {XKB_KEY_bracketright, 27, 30},
    {XKB_KEY_o, 24, 31},
    {XKB_KEY_u, 22, 32},
    {XKB_KEY_bracketleft, 26, 33},
    {XKB_KEY_i, 23, 34},
    {XKB_KEY_p, 25, 35},
    {XKB_KEY_l, 38, 37},
    {XKB_KEY_j, 36, 38},
    {XKB_KEY_apostrophe, 40, 39},
    {XKB_KEY_k, 37, 40},
    {XKB_KEY_semicolon, 39, 41},
    {XKB_KEY_backslash, 43, 42},
    {XKB_KEY_comma, 51, 43},
    {XKB_KEY_slash, 53, 44},
    {XKB_KEY_n, 49, 45},
    {XKB_KEY_m, 50, 46},
    {XKB_KEY_period, 52, 47},
    {XKB_KEY_grave, 41, 50},
    // Editing and whitespace keys.
    {XKB_KEY_Return, 28, 36},
    {XKB_KEY_Tab, 15, 48},
    {XKB_KEY_ISO_Left_Tab, 15, 48},
    {XKB_KEY_space, 57, 49},
    {XKB_KEY_BackSpace, 14, 51},
    {XKB_KEY_Escape, 1, 53},
    {XKB_KEY_Delete, 111, 117},
    {XKB_KEY_Insert, 110, 114}, // where the Help key sits
    {XKB_KEY_Help, 138, 114},
    // Modifiers: Super is command, Alt (and AltGr) is option.
    {XKB_KEY_Super_R, 126, 54},
    {XKB_KEY_Super_L, 125, 55},
    {XKB_KEY_Shift_L, 42, 56},
    {XKB_KEY_Caps_Lock, 58, 57},
    {XKB_KEY_Alt_L, 56, 58},
    {XKB_KEY_Control_L, 29, 59},
    {XKB_KEY_Shift_R, 54, 60},
    {XKB_KEY_Alt_R, 100, 61},
    {XKB_KEY_ISO_Level3_Shift, 100, 61},
    {XKB_KEY_Control_R, 97, 62},
    // Navigation.
    {XKB_KEY_Home, 102, 115},
    {XKB_KEY_Prior, 104, 116},
    {XKB_KEY_End, 107, 119},
    {XKB_KEY_Next, 109, 121},
    {XKB_KEY_Left, 105, 123},
    {XKB_KEY_Right, 106, 124},
    {XKB_KEY_Down, 108, 125},
    {XKB_KEY_Up, 103, 126},
    // Function keys.
    {XKB_KEY_F1, 59, 122},
    {XKB_KEY_F2, 60, 120},
    {XKB_KEY_F3, 61, 99},
    {XKB_KEY_F4, 62, 118},
    {XKB_KEY_F5, 63, 96},
    {XKB_KEY_F6, 64, 97},
    {XKB_KEY_F7, 65, 98},
    {XKB_KEY_F8, 66, 100},
    {XKB_KEY_F9, 67, 101},
    {XKB_KEY_F10, 68, 109},
    {XKB_KEY_F11, 87, 103},
    {XKB_KEY_F12, 88, 111},
    {XKB_KEY_F13, 183, 105},
    {XKB_KEY_F14, 184, 107},
    {XKB_KEY_F15, 185, 113},
    {XKB_KEY_F16, 186, 106},
    {XKB_KEY_F17, 187, 64},
    {XKB_KEY_F18, 188, 79},
    {XKB_KEY_F19, 189, 80},
    {XKB_KEY_F20, 190, 90},
    // Keypad. Num Lock sits where the keypad's Clear key does. The keys'
    // first level is the navigation keysym while Num Lock is off.
    {XKB_KEY_Num_Lock, 69, 71},
    {XKB_KEY_KP_Decimal, 83, 65},
    {XKB_KEY_KP_Delete, 83, 65},
    {XKB_KEY_KP_Multiply, 55, 67},
    {XKB_KEY_KP_Add, 78, 69},
    {XKB_KEY_KP_Divide, 98, 75},
    {XKB_KEY_KP_Enter, 96, 76},
    {XKB_KEY_KP_Subtract, 74, 78},
    {XKB_KEY_KP_Equal, 117, 81},
    {XKB_KEY_KP_0, 82, 82},
    {XKB_KEY_KP_Insert, 82, 82},
    {XKB_KEY_KP_1, 79, 83},
    {XKB_KEY_KP_End, 79, 83},
    {XKB_KEY_KP_2, 80, 84},
    {XKB_KEY_KP_Down, 80, 84},
    {XKB_KEY_KP_3, 81, 85},
    {XKB_KEY_KP_Next, 81, 85},
    {XKB_KEY_KP_4, 75, 86},
    {XKB_KEY_KP_Left, 75, 86},
    {XKB_KEY_KP_5, 76, 87},
    {XKB_KEY_KP_Begin, 76, 87},
    {XKB_KEY_KP_6, 77, 88},
    {XKB_KEY_KP_Right, 77, 88},
    {XKB_KEY_KP_7, 71, 89},
    {XKB_KEY_KP_Home, 71, 89},
    {XKB_KEY_KP_8, 72, 91},
    {XKB_KEY_KP_Up, 72, 91},
    {XKB_KEY_KP_9, 73, 92},
    {XKB_KEY_KP_Prior, 73, 92},
    // Volume keys.
    {XKB_KEY_XF86AudioRaiseVolume, 115, 72},
    {XKB_KEY_XF86AudioLowerVolume, 114, 73},
    {XKB_KEY_XF86AudioMute, 113, 74},
};

} // namespace

std::span<const KeyCodeRow> keyCodeTable() {
    return kRows;
}

uint16_t macKeyCode(uint32_t keysym, uint32_t xKeycode) {
    if (keysym != 0)
        for (const KeyCodeRow& row : kRows)
            if (row.keysym == keysym) return row.macKeyCode;
    if (xKeycode >= kEvdevToXKeycodeOffset)
        for (const KeyCodeRow& row : kRows)
            if (row.evdevCode == xKeycode - kEvdevToXKeycodeOffset) return row.macKeyCode;
    return kUnknownKeyCode;
}

} // namespace vantrel

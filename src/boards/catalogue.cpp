// SPDX-License-Identifier: Apache-2.0
// The product board tables as constant data: the sensor-name tables, the per-board tables that
// pick one per name-keyed fault type, and the board table. Names are exactly as the platform
// reports them (mind the trailing blanks of "CPU 1 DTS " and "CPU 2 DTS " in table 6).
#include <boards/catalogue.hpp>

#include <iterator>

namespace diag {

// clang-format off

// Table 1, processor (fault type 0): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable1Processor[] = {
    {"CPU_1_Status",  1},
    {"CPU_2_Status",  2},
};

// Table 1, power supply (fault type 5): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable1Psu[] = {
    {"PSU_1_Status",  1},
    {"PSU_2_Status",  2},
};

// Table 1, fan (fault type 6): each code is the fan number in the name.
constexpr NameRow kTable1Fan[] = {
    {"Fan_1_Status",   1},
    {"Fan_2_Status",   2},
    {"Fan_3_Status",   3},
    {"Fan_4_Status",   4},
    {"Fan_5_Status",   5},
    {"Fan_6_Status",   6},
    {"Fan1_F_Status",  1},
    {"Fan1_R_Status",  1},
    {"Fan2_F_Status",  2},
    {"Fan2_R_Status",  2},
    {"Fan3_F_Status",  3},
    {"Fan3_R_Status",  3},
    {"Fan4_F_Status",  4},
    {"Fan4_R_Status",  4},
    {"Fan5_F_Status",  5},
    {"Fan5_R_Status",  5},
    {"Fan6_F_Status",  6},
    {"Fan6_R_Status",  6},
    {"Fan7_F_Status",  7},
    {"Fan7_R_Status",  7},
    {"Fan_1",          1},
    {"Fan_2",          2},
    {"Fan_3",          3},
    {"Fan_4",          4},
    {"Fan_5",          5},
    {"Fan_6",          6},
};

// Table 1, temperature (fault type 9): each code is the number before the dash.
constexpr NameRow kTable1Temperature[] = {
    {"01-Inlet Temp",     1},
    {"02-CPU 1",          2},
    {"03-CPU 2",          3},
    {"04-CPU 1 DTS",      4},
    {"05-CPU 2 DTS",      5},
    {"06-P1 DIMM Ch1-3",  6},
    {"07-P1 DIMM Ch4-6",  7},
    {"08-P2 DIMM Ch1-3",  8},
    {"09-P2 DIMM Ch4-6",  9},
    {"10-Front HD Max",  10},
    {"11-Front NVMe",    11},
    {"12-Rear HD Max",   12},
    {"13-Rear HD Zone",  13},
    {"14-M.2 Zone",      14},
    {"15-PCH",           15},
    {"16-P/S 1",         16},
    {"17-P/S 2",         17},
    {"18-P/S 1 Zone",    18},
    {"19-P/S 2 Zone",    19},
    {"20-VR P1",         20},
    {"21-VR P2",         21},
    {"22-HD Controller", 22},
    {"23-Expander Card", 23},
    {"24-BMC Zone",      24},
    {"25-PCI 1",         25},
    {"26-PCI 2",         26},
    {"27-PCI 3",         27},
    {"28-PCI 4",         28},
    {"29-PCI 5",         29},
    {"30-PCI 6",         30},
    {"31-PCI 7",         31},
    {"32-PCI 8",         32},
    {"28-PCI 1 Zone",    28},
    {"29-PCI 2 Zone",    29},
    {"30-PCI 3 Zone",    30},
    {"33-PCI 1 Zone",    33},
    {"34-PCI 2 Zone",    34},
    {"35-PCI 3 Zone",    35},
    {"36-PCI 4 Zone",    36},
    {"37-PCI 5 Zone",    37},
    {"38-PCI 6 Zone",    38},
    {"39-PCI 7 Zone",    39},
    {"40-PCI 8 Zone",    40},
    {"41-LOM Card",      41},
    {"42-Outlet Temp 1", 42},
    {"43-Outlet Temp 2", 43},
    {"31-LOM Card",      31},
    {"32-Outlet Temp 1", 32},
    {"33-Outlet Temp 2", 33},
    {"06-P1 DIMM Ch1-4",  6},
    {"07-P1 DIMM Ch5-8",  7},
    {"08-P2 DIMM Ch1-4",  8},
    {"09-P2 DIMM Ch5-8",  9},
};

// Table 2, processor (fault type 0): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable2Processor[] = {
    {"N1 CPU_1_Status",  1},
    {"N1 CPU_2_Status",  2},
    {"N2 CPU_1_Status",  3},
    {"N2 CPU_2_Status",  4},
};

// Table 2, power supply (fault type 5): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable2Psu[] = {
    {"PSU_1_Status",  1},
    {"PSU_2_Status",  2},
    {"PSU_3_Status",  3},
    {"PSU_4_Status",  4},
};

// Table 2, fan (fault type 6): each code is the fan number in the name.
constexpr NameRow kTable2Fan[] = {
    {"FAN1_DOWN_Status",  1},
    {"FAN1_UP_Status",    1},
    {"FAN2_DOWN_Status",  2},
    {"FAN2_UP_Status",    2},
    {"FAN3_DOWN_Status",  3},
    {"FAN3_UP_Status",    3},
    {"FAN4_DOWN_Status",  4},
    {"FAN4_UP_Status",    4},
    {"FAN5_DOWN_Status",  5},
    {"FAN5_UP_Status",    5},
    {"FAN6_DOWN_Status",  6},
    {"FAN6_UP_Status",    6},
};

// Table 2, temperature (fault type 9): codes rise by 1 in row order, from 1, and from 34 at "PCH".
constexpr NameRow kTable2Temperature[] = {
    {"Inlet Temp",        1},
    {"N1 CPU 1",          2},
    {"N1 CPU 2",          3},
    {"N2 CPU 1",          4},
    {"N2 CPU 2",          5},
    {"N1 CPU 1 DTS",      6},
    {"N1 CPU 2 DTS",      7},
    {"N2 CPU 1 DTS",      8},
    {"N2 CPU 2 DTS",      9},
    {"N1 P1 DIMM Ch1-3", 10},
    {"N1 P1 DIMM Ch4-6", 11},
    {"N1 P2 DIMM Ch1-3", 12},
    {"N1 P2 DIMM Ch4-6", 13},
    {"N2 P1 DIMM Ch1-3", 14},
    {"N2 P1 DIMM Ch4-6", 15},
    {"N2 P2 DIMM Ch1-3", 16},
    {"N2 P2 DIMM Ch4-6", 17},
    {"N1 Left HD Max",   18},
    {"N1 Middle HD Max", 19},
    {"N1 Right HD Max",  20},
    {"N2 Left HD Max",   21},
    {"N2 Middle HD Max", 22},
    {"N2 Right HD Max",  23},
    {"N1 NVMe Left",     24},
    {"N1 NVMe Right",    25},
    {"N2 NVMe Left",     26},
    {"N2 NVMe Right",    27},
    {"PCH",              34},
    {"P/S 1",            35},
    {"P/S 2",            36},
    {"P/S 3",            37},
    {"P/S 4",            38},
    {"P/S 1-2 Zone",     39},
    {"P/S 3 Zone",       40},
    {"P/S 4 Zone",       41},
    {"N1 VR P1",         42},
    {"N1 VR P2",         43},
    {"N2 VR P1",         44},
    {"N2 VR P2",         45},
    {"N1 Expander chip", 46},
    {"N2 Expander chip", 47},
    {"PCI 111",          48},
    {"PCI 112",          49},
    {"PCI 121",          50},
    {"PCI 122",          51},
    {"PCI 11",           52},
    {"PCI 12",           53},
    {"PCI 13",           54},
    {"PCI 14",           55},
    {"PCI 15",           56},
    {"PCI 16",           57},
    {"PCI 21",           58},
    {"PCI 22",           59},
    {"PCI 23",           60},
    {"PCI 24",           61},
    {"PCI 25",           62},
    {"PCI 26",           63},
    {"PCI 31",           64},
    {"PCI 32",           65},
    {"PCI 33",           66},
    {"PCI 34",           67},
    {"PCI 35",           68},
    {"PCI 36",           69},
    {"PCI 111 Zone",     70},
    {"PCI 112 Zone",     71},
    {"PCI 121 Zone",     72},
    {"PCI 122 Zone",     73},
    {"PCI 11 Zone",      74},
    {"PCI 12 Zone",      75},
    {"PCI 13 Zone",      76},
    {"PCI 14 Zone",      77},
    {"PCI 15 Zone",      78},
    {"PCI 16 Zone",      79},
    {"PCI 21 Zone",      80},
    {"PCI 22 Zone",      81},
    {"PCI 23 Zone",      82},
    {"PCI 24 Zone",      83},
    {"PCI 25 Zone",      84},
    {"PCI 26 Zone",      85},
    {"PCI 31 Zone",      86},
    {"PCI 32 Zone",      87},
    {"PCI 33 Zone",      88},
    {"PCI 34 Zone",      89},
    {"PCI 35 Zone",      90},
    {"PCI 36 Zone",      91},
    {"Outlet Temp",      92},
    {"Mlom Temp",        93},
    {"N1 FrontBP L",     94},
    {"N1 FrontBP R",     95},
    {"N2 FrontBP L",     96},
    {"N2 FrontBP R",     97},
};

// Table 3, processor (fault type 0): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable3Processor[] = {
    {"CPU1_Status",  1},
    {"CPU2_Status",  2},
    {"CPU3_Status",  3},
    {"CPU4_Status",  4},
};

// Table 3, power supply (fault type 5): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable3Psu[] = {
    {"PSU_1_Status",  1},
    {"PSU_2_Status",  2},
};

// Table 3, fan (fault type 6): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable3Fan[] = {
    {"Fan_1_Status",    1},
    {"Fan_2_Status",    2},
    {"Fan_3_Status",    3},
    {"Fan_4_Status",    4},
    {"Fan_5_Status",    5},
    {"Fan_6_Status",    6},
    {"FAN_Redundancy",  7},
};

// Table 3, temperature (fault type 9): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable3Temperature[] = {
    {"Inlet Temp",     1},
    {"CPU 1",          2},
    {"CPU 2",          3},
    {"CPU 3",          4},
    {"CPU 4",          5},
    {"CPU 1 DTS",      6},
    {"CPU 2 DTS",      7},
    {"CPU 3 DTS",      8},
    {"CPU 4 DTS",      9},
    {"P1 DIMM Ch1-3", 10},
    {"P1 DIMM Ch4-6", 11},
    {"P2 DIMM Ch1-3", 12},
    {"P2 DIMM Ch4-6", 13},
    {"P3 DIMM Ch1-3", 14},
    {"P3 DIMM Ch4-6", 15},
    {"P4 DIMM Ch1-3", 16},
    {"P4 DIMM Ch4-6", 17},
    {"Front HD Max",  18},
    {"Front NVME",    19},
    {"Rear HD Max",   20},
    {"Rear HD Zone",  21},
    {"PCH",           22},
    {"P/S 1",         23},
    {"P/S 2",         24},
    {"P/S 1 Zone",    25},
    {"P/S 2 Zone",    26},
    {"VR P1",         27},
    {"VR P2",         28},
    {"VR P3",         29},
    {"VR P4",         30},
    {"Expander",      31},
    {"PCI 1",         32},
    {"PCI 2",         33},
    {"PCI 3",         34},
    {"PCI 4",         35},
    {"PCI 5",         36},
    {"PCI 6",         37},
    {"PCI 7",         38},
    {"PCI 8",         39},
    {"PCI 9",         40},
    {"PCI 10",        41},
    {"PCI 1 Zone",    42},
    {"PCI 2 Zone",    43},
    {"PCI 3 Zone",    44},
    {"PCI 4 Zone",    45},
    {"PCI 5 Zone",    46},
    {"PCI 6 Zone",    47},
    {"PCI 7 Zone",    48},
    {"PCI 8 Zone",    49},
    {"PCI 9 Zone",    50},
    {"PCI 10 Zone",   51},
    {"SLOM Card",     52},
    {"Outlet Temp 1", 53},
    {"Outlet Temp 2", 54},
};

// Table 4, processor (fault type 0): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable4Processor[] = {
    {"CM1 CPU_1_Status",  1},
    {"CM1 CPU_2_Status",  2},
    {"CM2 CPU_1_Status",  3},
    {"CM2 CPU_2_Status",  4},
    {"CM3 CPU_1_Status",  5},
    {"CM3 CPU_2_Status",  6},
    {"CM4 CPU_1_Status",  7},
    {"CM4 CPU_2_Status",  8},
};

// Table 4, power supply (fault type 5): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable4Psu[] = {
    {"PSU_1_Status",  1},
    {"PSU_2_Status",  2},
    {"PSU_3_Status",  3},
    {"PSU_4_Status",  4},
    {"PSU_5_Status",  5},
    {"PSU_6_Status",  6},
    {"PSU_7_Status",  7},
    {"PSU_8_Status",  8},
};

// Table 4, fan (fault type 6): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable4Fan[] = {
    {"CM1 FAN1_Status",  1},
    {"CM1 FAN2_Status",  2},
    {"CM1 FAN3_Status",  3},
    {"CM2 FAN1_Status",  4},
    {"CM2 FAN2_Status",  5},
    {"CM2 FAN3_Status",  6},
    {"CM3 FAN1_Status",  7},
    {"CM3 FAN2_Status",  8},
    {"CM3 FAN3_Status",  9},
    {"CM4 FAN1_Status", 10},
    {"CM4 FAN2_Status", 11},
    {"CM4 FAN3_Status", 12},
};

// Table 4, temperature (fault type 9): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable4Temperature[] = {
    {"Inlet Temp",        1},
    {"CM1 CPU 1 DTS",     2},
    {"CM1 CPU 2 DTS",     3},
    {"CM2 CPU 1 DTS",     4},
    {"CM2 CPU 2 DTS",     5},
    {"CM3 CPU 1 DTS",     6},
    {"CM3 CPU 2 DTS",     7},
    {"CM4 CPU 1 DTS",     8},
    {"CM4 CPU 2 DTS",     9},
    {"CM1 P1 DIMMCh1-6", 10},
    {"CM1 P2 DIMMCh1-6", 11},
    {"CM2 P1 DIMMCh1-6", 12},
    {"CM2 P2 DIMMCh1-6", 13},
    {"CM3 P1 DIMMCh1-6", 14},
    {"CM3 P2 DIMMCh1-6", 15},
    {"CM4 P1 DIMMCh1-6", 16},
    {"CM4 P2 DIMMCh1-6", 17},
    {"CM1 Left HD Max",  18},
    {"CM1 Right HD Max", 19},
    {"CM2 Left HD Max",  20},
    {"CM2 Right HD Max", 21},
    {"CM3 Left HD Max",  22},
    {"CM3 Right HD Max", 23},
    {"CM4 Left HD Max",  24},
    {"CM4 Right HD Max", 25},
    {"CM1 NVMe Left",    26},
    {"CM1 NVMe Right",   27},
    {"CM2 NVMe Left",    28},
    {"CM2 NVMe Right",   29},
    {"CM3 NVMe Left",    30},
    {"CM3 NVMe Right",   31},
    {"CM4 NVMe Left",    32},
    {"CM4 NVMe Right",   33},
    {"PCH 1",            34},
    {"PCH 2",            35},
    {"P/S 1",            36},
    {"P/S 2",            37},
    {"P/S 3",            38},
    {"P/S 4",            39},
    {"P/S 5",            40},
    {"P/S 6",            41},
    {"P/S 7",            42},
    {"P/S 8",            43},
    {"CM1 VR",           44},
    {"CM2 VR",           45},
    {"CM3 VR",           46},
    {"CM4 VR",           47},
    {"PCI 111",          48},
    {"PCI 121",          49},
    {"PCI 131",          50},
    {"PCI 141",          51},
    {"PCI 11",           52},
    {"PCI 12",           53},
    {"PCI 13",           54},
    {"PCI 14",           55},
    {"PCI 15",           56},
    {"PCI 16",           57},
    {"PCI 31",           58},
    {"PCI 32",           59},
    {"PCI 33",           60},
    {"PCI 34",           61},
    {"PCI 35",           62},
    {"PCI 36",           63},
    {"PCI 41",           64},
    {"PCI 42",           65},
    {"PCI 43",           66},
    {"PCI 44",           67},
    {"PCI 45",           68},
    {"PCI 46",           69},
    {"PCI 61",           70},
    {"PCI 62",           71},
    {"PCI 63",           72},
    {"PCI 64",           73},
    {"PCI 65",           74},
    {"PCI 66",           75},
    {"Riser1 Zone",      76},
    {"Riser3 Zone",      77},
    {"Riser4 Zone",      78},
    {"Riser6 Zone",      79},
    {"Outlet Temp",      80},
    {"LOM Card 1",       81},
    {"LOM Card 2",       82},
    {"M.2 SSD 1 Zone",   83},
    {"M.2 SSD 2 Zone",   84},
};

// Table 5, processor (fault type 0): code 1.
constexpr NameRow kTable5Processor[] = {
    {"CPU0_Status",  1},
};

// Table 6, fan (fault type 6): each code is the fan number in the name.
constexpr NameRow kTable6Fan[] = {
    {"Fan1_DN_L_Status",  1},
    {"Fan1_DN_R_Status",  1},
    {"Fan1_UP_L_Status",  1},
    {"Fan1_UP_R_Status",  1},
    {"Fan2_DN_L_Status",  2},
    {"Fan2_DN_R_Status",  2},
    {"Fan2_UP_L_Status",  2},
    {"Fan2_UP_R_Status",  2},
    {"Fan3_DN_L_Status",  3},
    {"Fan3_DN_R_Status",  3},
    {"Fan3_UP_L_Status",  3},
    {"Fan3_UP_R_Status",  3},
    {"Fan4_DN_L_Status",  4},
    {"Fan4_DN_R_Status",  4},
    {"Fan4_UP_L_Status",  4},
    {"Fan4_UP_R_Status",  4},
};

// Table 6, temperature (fault type 9): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable6Temperature[] = {
    {"Inlet Temp",     1},
    {"Front Ambient",  2},
    {"CPU 1",          3},
    {"CPU 2",          4},
    {"CPU 1 DTS ",     5},
    {"CPU 2 DTS ",     6},
    {"P1 DIMM Ch1-3",  7},
    {"P1 DIMM Ch4-6",  8},
    {"P2 DIMM Ch1-3",  9},
    {"P2 DIMM Ch4-6", 10},
    {"Front HD Max",  11},
    {"Front NVMe",    12},
    {"M.2 Zone",      13},
    {"PCH",           14},
    {"P/S 1",         15},
    {"P/S 2",         16},
    {"P/S 3",         17},
    {"P/S 4",         18},
    {"VR P1",         19},
    {"VR P2",         20},
    {"HD Controller", 21},
    {"Expander Card", 22},
    {"Switch Max 1",  23},
    {"Switch Max 2",  24},
    {"BMC Zone",      25},
    {"PCI 1",         26},
    {"PCI 2",         27},
    {"PCI 3",         28},
    {"PCI 4",         29},
    {"N1 PCI 7",      30},
    {"N1 PCI 8",      31},
    {"N1 PCI 9",      32},
    {"N1 PCI 10",     33},
    {"N1 PCI 11",     34},
    {"N1 PCI 12",     35},
    {"N1 PCI 13",     36},
    {"N1 PCI 14",     37},
    {"N2 PCI 7",      38},
    {"N2 PCI 8",      39},
    {"N2 PCI 9",      40},
    {"N2 PCI 10",     41},
    {"N2 PCI 11",     42},
    {"N2 PCI 12",     43},
    {"N2 PCI 13",     44},
    {"N2 PCI 14",     45},
    {"N2 PCI 15",     46},
    {"N2 PCI 16",     47},
    {"N2 PCI 17",     48},
    {"N2 PCI 18",     49},
    {"N2 PCI 19",     50},
    {"N2 PCI 20",     51},
    {"N2 PCI 21",     52},
    {"N2 PCI 22",     53},
    {"OCP Card",      54},
    {"OCP Card Zone", 55},
    {"Outlet Temp 1", 56},
    {"Outlet Temp 2", 57},
};

// Table 7, processor (fault type 0): code 1.
constexpr NameRow kTable7Processor[] = {
    {"CPU_Status",  1},
};

// Table 7, fan (fault type 6): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable7Fan[] = {
    {"Fan_1_Status",  1},
    {"Fan_2_Status",  2},
    {"Fan_3_Status",  3},
};

// Table 7, temperature (fault type 9): codes 1, 2, 3, ... in row order.
constexpr NameRow kTable7Temperature[] = {
    {"Inlet_Temp",     1},
    {"CPU",            2},
    {"CPU_DTS",        3},
    {"DIMM_Ch1-4",     4},
    {"Front_HD_Max",   5},
    {"Front_BP_Zone",  6},
    {"Expander_Chip",  7},
    {"PCH",            8},
    {"BMC_Zone",       9},
    {"P/S_1",         10},
    {"P/S_2",         11},
    {"VR",            12},
    {"PCI_1",         13},
    {"PCI_2",         14},
    {"PCI_3",         15},
    {"Outlet_Temp",   16},
};


// Per-board tables: one row per name-keyed fault type, always in the order 0, 5, 6, 9. Several
// boards share lists.
constexpr NameTable row(u32 faultType, std::span<const NameRow> names)
{
    return {faultType, static_cast<u32>(names.size()), names.data()};
}

constexpr NameTable kPerBoard1[] = {
    row(DIAG_PANEL_FAULT_CPU, kTable1Processor), row(DIAG_PANEL_FAULT_PSU, kTable1Psu),
    row(DIAG_PANEL_FAULT_FAN, kTable1Fan),       row(DIAG_PANEL_FAULT_TEMP, kTable1Temperature),
};
constexpr NameTable kPerBoard2[] = {
    row(DIAG_PANEL_FAULT_CPU, kTable2Processor), row(DIAG_PANEL_FAULT_PSU, kTable2Psu),
    row(DIAG_PANEL_FAULT_FAN, kTable2Fan),       row(DIAG_PANEL_FAULT_TEMP, kTable2Temperature),
};
constexpr NameTable kPerBoard3[] = {
    row(DIAG_PANEL_FAULT_CPU, kTable3Processor), row(DIAG_PANEL_FAULT_PSU, kTable3Psu),
    row(DIAG_PANEL_FAULT_FAN, kTable3Fan),       row(DIAG_PANEL_FAULT_TEMP, kTable3Temperature),
};
constexpr NameTable kPerBoard4[] = {
    row(DIAG_PANEL_FAULT_CPU, kTable4Processor), row(DIAG_PANEL_FAULT_PSU, kTable4Psu),
    row(DIAG_PANEL_FAULT_FAN, kTable4Fan),       row(DIAG_PANEL_FAULT_TEMP, kTable4Temperature),
};
constexpr NameTable kPerBoard5[] = {
    row(DIAG_PANEL_FAULT_CPU, kTable5Processor), row(DIAG_PANEL_FAULT_PSU, kTable1Psu),
    row(DIAG_PANEL_FAULT_FAN, kTable1Fan),       row(DIAG_PANEL_FAULT_TEMP, kTable1Temperature),
};
constexpr NameTable kPerBoard6[] = {
    row(DIAG_PANEL_FAULT_CPU, kTable1Processor), row(DIAG_PANEL_FAULT_PSU, kTable2Psu),
    row(DIAG_PANEL_FAULT_FAN, kTable6Fan),       row(DIAG_PANEL_FAULT_TEMP, kTable6Temperature),
};
constexpr NameTable kPerBoard7[] = {
    row(DIAG_PANEL_FAULT_CPU, kTable7Processor), row(DIAG_PANEL_FAULT_PSU, kTable1Psu),
    row(DIAG_PANEL_FAULT_FAN, kTable7Fan),       row(DIAG_PANEL_FAULT_TEMP, kTable7Temperature),
};

constexpr BoardRow boardRow(u32 boardId, std::span<const NameTable> perBoard)
{
    return {boardId, static_cast<u32>(perBoard.size()), perBoard.data()};
}

// The board table; a board's index is its row.
constexpr BoardRow kBoards[] = {
    boardRow(board::k01030103, kPerBoard1), // 0
    boardRow(board::k01030303, kPerBoard1), // 1
    boardRow(board::k01031104, kPerBoard1), // 2
    boardRow(board::k01031304, kPerBoard1), // 3
    boardRow(board::k01032303, kPerBoard2), // 4
    boardRow(board::k60010101, kPerBoard1), // 5
    boardRow(board::k60010201, kPerBoard1), // 6
    boardRow(board::k60010202, kPerBoard1), // 7
    boardRow(board::k01034301, kPerBoard3), // 8
    boardRow(board::k01033304, kPerBoard4), // 9
    boardRow(board::k01033305, kPerBoard4), // 10
    boardRow(board::k01033306, kPerBoard4), // 11
    boardRow(board::k61010101, kPerBoard5), // 12
    boardRow(board::k03033505, kPerBoard6), // 13
    boardRow(board::k02032001, kPerBoard7), // 14
};
static_assert(std::size(kBoards) == 15);

// clang-format on

// Stops at the first difference: the whole check stays within a compiler's evaluation limits.
constexpr bool sameName(const NameRow &a, const NameRow &b)
{
    for (size_t i = 0; i < sizeof a.acName; ++i) {
        if (a.acName[i] != b.acName[i]) {
            return false;
        }
        if (a.acName[i] == '\0') {
            return true;
        }
    }
    return true;
}

// Each board once; its per-board table names fault types 0, 5, 6 and 9 in that order; every
// name is non-empty (the array's size already keeps it within 31 characters and a terminator)
// and appears once in its table, since the first match would hide a second.
constexpr bool wellFormed()
{
    constexpr u32 kNameKeyedTypes[] = {DIAG_PANEL_FAULT_CPU, DIAG_PANEL_FAULT_PSU,
                                       DIAG_PANEL_FAULT_FAN, DIAG_PANEL_FAULT_TEMP};
    for (size_t b = 0; b < std::size(kBoards); ++b) {
        for (size_t earlier = 0; earlier < b; ++earlier) {
            if (kBoards[earlier].uiBoardId == kBoards[b].uiBoardId) {
                return false;
            }
        }
        if (kBoards[b].uiTableNum != std::size(kNameKeyedTypes)) {
            return false;
        }
        for (u32 t = 0; t < kBoards[b].uiTableNum; ++t) {
            const NameTable &table = kBoards[b].pstTables[t];
            if (table.uiFaultType != kNameKeyedTypes[t]) {
                return false;
            }
            for (u32 n = 0; n < table.uiNameNum; ++n) {
                if (table.pstNames[n].acName[0] == '\0') {
                    return false;
                }
                for (u32 m = 0; m < n; ++m) {
                    if (sameName(table.pstNames[m], table.pstNames[n])) {
                        return false;
                    }
                }
            }
        }
    }
    return true;
}
static_assert(wellFormed());

} // namespace diag

std::span<const diag::BoardRow> diag::boardTable()
{
    return kBoards;
}

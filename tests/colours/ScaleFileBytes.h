#pragma once
// Colour-scale files put together byte by byte from the file layout, without TFarbArray or
// TFileIO, to hold the palette's own writer and reader against.

#include "TestSupport.h"

#include <QByteArray>

namespace wntest {

// Record 70 of the default palette, typed in from the table of default colours.
inline QByteArray DefaultRecord()
{
    QByteArray rec(720, '\0');
    const int table[][4] = {
        {2, 50, 50, 50},     {3, 100, 100, 100}, {4, 150, 150, 150}, {5, 180, 180, 180}, {6, 220, 220, 220},
        {7, 255, 255, 255},  {8, 120, 0, 0},     {9, 200, 0, 0},     {10, 255, 0, 0},    {11, 255, 120, 120},
        {12, 255, 200, 200}, {13, 0, 120, 0},    {14, 0, 200, 0},    {15, 0, 255, 0},    {16, 120, 255, 120},
        {17, 200, 255, 200}, {18, 0, 0, 120},    {19, 0, 0, 200},    {20, 0, 0, 255},    {21, 120, 120, 255},
        {22, 200, 200, 255}, {23, 120, 120, 0},  {24, 200, 200, 0},  {25, 255, 255, 0},  {26, 255, 255, 120},
        {27, 255, 255, 200}, {28, 120, 0, 120},  {29, 200, 0, 200},  {30, 255, 0, 255},  {31, 255, 120, 255},
        {32, 255, 200, 255}, {33, 0, 120, 120},  {34, 0, 200, 200},  {35, 0, 255, 255},  {36, 120, 255, 255},
        {37, 200, 255, 255}, {38, 120, 60, 0},   {39, 160, 80, 0},   {40, 200, 100, 0},  {41, 255, 150, 0},
        {42, 255, 200, 120}, {43, 200, 100, 0},  {81, 0, 120, 0},    {82, 51, 147, 0},   {83, 102, 174, 0},
        {84, 153, 201, 0},   {85, 204, 228, 0},  {86, 255, 255, 0},  {87, 246, 212, 0},  {88, 237, 170, 0},
        {89, 227, 128, 0},   {90, 218, 85, 0},   {91, 209, 42, 0},   {92, 200, 0, 0},    {93, 150, 0, 30},
        {94, 100, 0, 60},    {95, 50, 0, 90},    {96, 0, 0, 120},
    };
    for (const auto &e : table)
        for (int c = 0; c < 3; ++c)
            rec[3 * (e[0] - 1) + c] = char(e[1 + c]);
    return rec;
}

// The colour-scale file as another program writes it: header (33, 10) with "KV", the four
// extension characters and version 19970901 (0x0130BB55), an empty comment (34, 0), then the
// palette record (70) with the given bytes.
inline QByteArray ScaleFile(const QByteArray &ext, const QByteArray &record)
{
    return Bytes({0x21, 0x00, 0x0A, 0x00, 'K', 'V'}) + ext + Bytes({0x55, 0xBB, 0x30, 0x01}) +
           Bytes({0x22, 0x00, 0x00, 0x00}) +
           Bytes({0x46, 0x00, int(record.size() & 0xFF), int(record.size() >> 8)}) + record;
}

} // namespace wntest

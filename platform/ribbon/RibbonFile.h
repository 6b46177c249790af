// The ring file. It is mapped by the process that writes it, so what was written stays when that process dies at any
// moment, and another process can read it meanwhile.
//
//    FileHeader | formats | ring of level 0 | ... | ring of level 9
//
// Formats are entries one behind the other: FormatHeader, the file's name, the format text. A format is written once,
// when its place in the source is passed first, and records refer to it by its offset.
//
// A ring holds records one behind the other, round and round: RecordHeader, then the arguments in the order of the
// format's codes: "%i", "%p" and "%M" (a MAC) take 8 bytes, "%A" (an address) one for the family and 0, 4 or 16 for the
// address, "%s" a length of 2 bytes and the text. In the format "%%" is a percent sign. Positions in a ring only grow;
// the byte at position p lies at offset p modulo the ring's size. The writer moves `tail` past what it is about to
// overwrite, then writes, then moves `head`: what lies between them is whole at any time.
//
// Everything is in the byte order of the machine.
#pragma once

#include <cstdint>

namespace Ribbon {

inline constexpr unsigned levels = 10;
inline constexpr std::uint64_t fileMagic = 0x31426e6f62626952; // "RibbonB1" on a little-endian machine

struct RingHeader {
   std::uint64_t offset; // in the file
   std::uint64_t size;   // 0: nothing of this level is kept
   std::uint64_t tail;   // position of the oldest record
   std::uint64_t head;   // position behind the newest record
};

struct FileHeader {
   std::uint64_t magic;
   std::uint64_t process;
   std::uint64_t formatsOffset;
   std::uint64_t formatsSize;
   std::uint64_t formatsUsed;
   std::uint64_t formatsLeftOut; // places in the source for which there was no room; nothing is kept of their lines
   RingHeader rings[ levels ];
};

struct FormatHeader {
   std::uint32_t size; // of the whole entry
   std::uint32_t line;
   std::uint32_t fileSize;
};

struct RecordHeader {
   std::uint32_t size; // of the whole record
   std::uint32_t format;
   std::uint64_t sequence; // counts the records of all levels
   double time;
};

inline constexpr std::uint16_t textCut = 0x8000; // set in a text's length: the end of it did not fit
inline constexpr std::uint32_t maxRecord = 4096;

} // namespace Ribbon

// BMP files: reading any common uncompressed BMP into a packed DIB and
// writing a packed DIB back out.
#pragma once

#include <span>
#include <string>

#include "image.h"

namespace nadiro::cli {

// Reads a BMP file (1, 4, 8, 24 or 32 bits; Windows 3 to 5 or OS/2 core
// headers; bottom-up or top-down) into a bottom-up DIB with a 40-byte
// header and a full colour table. On failure `error` says what is wrong.
bool readBmp(const std::string& path, Dib& out, std::string& error);
bool parseBmp(std::span<const uint8_t> file, Dib& out, std::string& error);

// The DIB as the bytes of a BMP file.
bool encodeBmp(const Dib& dib, std::vector<uint8_t>& file, std::string& error);
// Writes the DIB as a BMP file, through a temporary file renamed into place,
// so a failed write never leaves a partial output.
bool writeBmp(const std::string& path, const Dib& dib, std::string& error);

// The whole file ("-": standard input); on failure `error` says why.
bool readFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& error);

// Writes bytes to path through a temporary file and a rename; once Ctrl-C
// was pressed the temporary file is removed and nothing is written.
bool writeFileAtomically(const std::string& path, std::span<const uint8_t> bytes,
                         std::string& error);

}  // namespace nadiro::cli

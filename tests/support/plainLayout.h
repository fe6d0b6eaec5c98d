// SPDX-License-Identifier: BSD-3-Clause
// Where everything stands in a good EXR file: read as simply as the format reads, from the whole file in memory,
// without the EXR library. It trusts what it reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct PlainAttribute {
    int part = 0;
    std::string name;
    std::string type;
    std::size_t begin = 0;  // of the name
    std::size_t value = 0;
    std::size_t end = 0;
};

struct PlainChunk {
    int part = 0;
    std::size_t entry = 0;   // where its place stands in the chunk table
    std::size_t offset = 0;  // its place
    std::size_t place = 0;   // where the leader says which chunk it is, behind the number of the part
    std::size_t sizes = 0;   // where its sizes stand
    std::size_t data = 0;    // behind the leader
    std::size_t end = 0;
};

struct PlainLayout {
    std::vector<PlainAttribute> attributes;
    std::size_t headersEnd = 0;
    std::size_t tablesEnd = 0;
    std::vector<PlainChunk> chunks;  // in the order of the tables

    const PlainAttribute& attribute(int part, const std::string& name) const;
};

PlainLayout plainLayout(const std::string& file);

// Little-endian numbers in a file.
std::uint64_t layoutNumber(const std::string& file, std::size_t offset, std::size_t bytes);
void putPlainNumber(std::string& file, std::size_t offset, std::size_t bytes, std::uint64_t number);

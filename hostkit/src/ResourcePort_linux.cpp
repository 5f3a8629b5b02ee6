// ResourcePort_linux.cpp: a module's string lists from the "OrvRes" note of its ELF image.
#include "ResourcePort.h"
#include "hostkit/ResourceNote.h"

#include <cstring>
#include <elf.h>
#include <link.h>
#include <string_view>

namespace hostkit::port {

namespace {

uint32_t ReadUInt32(const unsigned char* bytes) {
    uint32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

std::size_t RoundUp(std::size_t size, std::size_t alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

// Reads the records of one descriptor; a record running past the end stops the reading.
void ParseRecords(const unsigned char* descriptor, std::size_t size, StringLists& lists) {
    std::size_t offset = 0;
    while (offset + 12 <= size) {
        const uint32_t listId = ReadUInt32(descriptor + offset);
        const uint32_t index = ReadUInt32(descriptor + offset + 4);
        const uint32_t byteCount = ReadUInt32(descriptor + offset + 8);
        if (listId == 0) {
            return;
        }
        offset += 12;
        if (byteCount > size - offset) {
            return;
        }
        lists[{static_cast<int32_t>(listId), static_cast<int32_t>(index)}] =
            std::string(reinterpret_cast<const char*>(descriptor + offset), byteCount);
        offset += RoundUp(byteCount, 4);
    }
}

// Walks the notes of one PT_NOTE segment. Notes are padded to the segment's alignment (4, or 8
// for some toolchains' property notes).
void ParseNoteSegment(const unsigned char* notes, std::size_t size, std::size_t alignment,
                      StringLists& lists, bool& found) {
    alignment = alignment == 8 ? 8 : 4;
    // The owner name with its terminator, as the note stores it.
    constexpr std::string_view kOwner(ORV_RESOURCE_NOTE_OWNER, sizeof ORV_RESOURCE_NOTE_OWNER);
    std::size_t offset = 0;
    while (offset + sizeof(ElfW(Nhdr)) <= size) {
        ElfW(Nhdr) header;
        std::memcpy(&header, notes + offset, sizeof header);
        offset += sizeof header;
        const std::size_t nameSize = RoundUp(header.n_namesz, alignment);
        const std::size_t descriptorSize = RoundUp(header.n_descsz, alignment);
        if (nameSize > size - offset || descriptorSize > size - offset - nameSize) {
            return;
        }
        const std::string_view name(reinterpret_cast<const char*>(notes + offset), header.n_namesz);
        if (header.n_type == kOrvResourceNoteType && name == kOwner) {
            found = true;
            ParseRecords(notes + offset + nameSize, header.n_descsz, lists);
        }
        offset += nameSize + descriptorSize;
    }
}

struct Search {
    uintptr_t address = 0;
    bool inModule = false;
    bool found = false;
    StringLists lists;
};

int VisitModule(dl_phdr_info* info, std::size_t /*size*/, void* data) {
    auto& search = *static_cast<Search*>(data);
    bool contains = false;
    for (ElfW(Half) i = 0; i < info->dlpi_phnum && !contains; ++i) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        const uintptr_t start = info->dlpi_addr + segment.p_vaddr;
        contains = segment.p_type == PT_LOAD && search.address >= start &&
                   search.address - start < segment.p_memsz;
    }
    if (!contains) {
        return 0;
    }
    search.inModule = true;
    for (ElfW(Half) i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        if (segment.p_type == PT_NOTE) {
            ParseNoteSegment(
                reinterpret_cast<const unsigned char*>(info->dlpi_addr + segment.p_vaddr),
                segment.p_filesz, segment.p_align, search.lists, search.found);
        }
    }
    return 1;  // stop: the module is found
}

}  // namespace

std::optional<StringLists> ReadModuleStringLists(const void* address) {
    Search search;
    search.address = reinterpret_cast<uintptr_t>(address);
    dl_iterate_phdr(VisitModule, &search);
    if (!search.found) {
        return std::nullopt;
    }
    return std::move(search.lists);
}

}  // namespace hostkit::port

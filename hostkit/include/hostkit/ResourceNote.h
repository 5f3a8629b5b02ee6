// ResourceNote.h: macros that put a module's resource string lists into its own image.
//
// The lists travel in an ELF note (section ".note.orvres", which the linker maps in a PT_NOTE
// segment), so that the host kit finds them from any address inside the loaded module, as Windows
// finds a module's string table:
//   owner name "OrvRes", note type 1, descriptor = records
//     { uint32 listId; uint32 index; uint32 byteCount; byteCount UTF-8 bytes (no terminator);
//       zero padding to a multiple of 4 }
//   ended by a record with listId 0.
//
// Use once per module, at namespace scope of one .cpp, without a trailing semicolon:
//   ORV_RESOURCE_NOTE(
//       ORV_RESOURCE_STRING(32000, 1, "OrvUpdate Brennerstein")
//       ORV_RESOURCE_STRING(32000, 2, "Automatická kontrola aktualizací knihoven GDL"))
// The list id and index are decimal integer literals (they are pasted into assembler text, so a
// named constant does not work); the text is one UTF-8 string literal and must not contain `"` or
// `\` (it is pasted between the assembler's quotes). Several notes in one module are all read.
#pragma once

#include <cstdint>

// The note's owner name and type.
#define ORV_RESOURCE_NOTE_OWNER "OrvRes"
constexpr uint32_t kOrvResourceNoteType = 1;

// One string: list `listId`, entry `index` (from 1). Labels 3 and 4 delimit the bytes so that the
// assembler counts them.
#define ORV_RESOURCE_STRING(listId, index, text)                                                   \
    ".long " #listId ", " #index ", 4f - 3f\n"                                                     \
    "3: .ascii \"" text "\"\n"                                                                     \
    "4: .balign 4, 0\n"

// The note around the records; labels 1 and 2 delimit the descriptor for its size field.
#define ORV_RESOURCE_NOTE(records)                                                                 \
    __asm__(".pushsection .note.orvres,\"a\",@note\n"                                              \
            ".balign 4\n"                                                                          \
            ".long 7\n" /* owner name size, "OrvRes" and its terminator */                         \
            ".long 2f - 1f\n"                                                                      \
            ".long 1\n" /* kOrvResourceNoteType */                                                 \
            ".asciz \"" ORV_RESOURCE_NOTE_OWNER "\"\n"                                             \
            ".balign 4, 0\n"                                                                       \
            "1:\n" records ".long 0, 0, 0\n"                                                       \
            "2:\n"                                                                                 \
            ".popsection\n");

#pragma once

#include "cards/VCard.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Joins cards of one person into the first of them, so that nothing is lost:
//
//   EMAIL, TEL, ADR, IMPP  each entry once, with the types of all; preferred stays who was
//   NOTE                   one note, with what the others say behind it
//   N                      empty parts are filled
//   FN, TITLE, ORG, BDAY   and others that a card has once: filled if empty; another value goes
//                          into the note, as "Job title: Clerk"
//   UID                    filled if empty; another value becomes a line X-MERGED-UID
//   REV and the like       those of the first card; they are about the card, not the person
//   all other lines        each once, those of a group together, under a new name of the group if
//                          it is taken
//
// What the card has already, it is not given again: joining the same cards once more changes
// nothing. A resource.
class CCardMerge
{
public:
    explicit CCardMerge(CVCard card);
    CCardMerge(const CCardMerge&) = delete;
    CCardMerge& operator=(const CCardMerge&) = delete;

    void Add(const CVCard& other);

    // A line of another card that is no content line goes into the note.
    void AddForeign(std::string_view line) { KeepInNote(line); }

    const CVCard& Card() const { return m_card; }

    // What differed and was kept beside the first value: the parts of the note, and lines.
    const std::vector<std::string>& Kept() const { return m_kept; }

private:
    CVCardLine* Find(std::string_view name);
    void AddEntry(const CVCardLine& line, std::string (*key)(const CVCardLine& line));
    void AddEntryTypes(const CVCardLine& line, CVCardLine* entry);
    void AddNames(const CVCardLine& line);
    void AddSingle(const CVCardLine& line, std::string_view label);
    void AddIdentifier(const CVCardLine& line);
    void AddGroup(const CVCard& lines);
    void Append(CVCardLine line);
    void Index(std::size_t place);
    bool HasLines(const CVCard& lines) const;
    void KeepInNote(std::string_view text);
    bool AppendToNote(std::string_view text);

    CVCard m_card;
    std::vector<std::string> m_kept;
    // What m_card holds: entries by name and key, all lines by what they say, the groups in small
    // letters, and the entries of which one is preferred.
    std::unordered_map<std::string, std::size_t> m_entries;
    std::unordered_multimap<std::string, std::size_t> m_lines;
    std::unordered_set<std::string> m_groups;
    std::unordered_set<std::string> m_preferred;
    std::size_t m_nextGroup = 1; // the groups "item1" and so on in front of it are taken
};

#pragma once

#include <string>
#include <string_view>

// A text that the user edits: a file in a private temporary folder, and the editor that the
// environment names. The file is removed at destruction, unless it is to be kept. A resource.
class CTextEditor
{
public:
    CTextEditor() = default;
    CTextEditor(const CTextEditor&) = delete;
    CTextEditor& operator=(const CTextEditor&) = delete;
    ~CTextEditor();

    // Makes the file, below TMPDIR or /tmp. False with the last error.
    bool Create(const std::string& name, std::string_view text);

    // Runs VISUAL, EDITOR or vi on the file, by the shell, so that the variable may hold arguments.
    // Meanwhile the keys that interrupt and quit are the editor's alone. False with `fault` if it
    // cannot be run, or ends with another status than 0.
    bool Run(std::string* fault) const;

    // The text as it is now. False with the last error.
    bool Read(std::string* text) const;

    const std::string& Path() const { return m_path; }
    void Keep() { m_isKept = true; }

private:
    std::string m_folder;
    std::string m_path;
    bool m_isKept = false;
};

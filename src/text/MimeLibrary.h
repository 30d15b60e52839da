#pragma once

inline namespace contactmgr_internal
{

// Starts the MIME library, once for the process; any thread. Each source calls this before it calls
// the library.
void EnsureMimeLibrary();

// Deleters for std::unique_ptr of what the library and its base hand out: a reference to an object,
// and memory.
struct CUnref
{
    void operator()(void* object) const noexcept;
};
struct CGlibFree
{
    void operator()(void* memory) const noexcept;
};

} // namespace contactmgr_internal

#pragma once

#include <cstdio>
#include <memory>

struct CFileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// An open file of the C library, closed at its end.
using CFile = std::unique_ptr<std::FILE, CFileCloser>;

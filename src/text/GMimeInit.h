#pragma once

// Starts the MIME library, once for the process. Every source that calls it comes through here
// first; any thread.
void EnsureMimeLibrary();

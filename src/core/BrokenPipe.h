// Keeps the process alive when a reader has gone.
#pragma once

namespace teskd {

// Installs an empty handler for SIGPIPE, so that writing to a pipe or a socket that nobody reads
// fails with EPIPE instead of ending the process. A handler rather than SIG_IGN, which a program
// that the process becomes would inherit.
//
// Any thread; calling it again is harmless.
void surviveBrokenPipes();

}  // namespace teskd

// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::adapter {

/// monit-check-status as a whole; its manual page is doc/monit-check-status.8.
///
/// Runs the stock monit privately on the control file FILE, waits until monit has checked every
/// service of the file once, prints the services' names and statuses as a small XML document and
/// ends everything that it started. Stock monit has no such mode: it is a daemon that repeats its
/// checks and answers questions over HTTP. So a call goes like this:
///
///   read FILE ── make a private directory ── start monit in it ── ask for its status until no
///   service waits for its first check ── kill monit, remove the directory ── print
///
/// Monit shares nothing with the machine's own monit: its files, socket and HOME are in the private
/// directory, and it gets no other environment.
///
/// Takes the arguments of main(). Returns the exit status, or ends the process by the signal that
/// asked it to end. On failure it prints nothing to standard output and the reason to standard
/// error.
int run(int argc, char** argv);

} // namespace keldo::adapter

#pragma once
// The component's session: one per process, shared by every clsCGIn a host
// creates and by every form they open, as a host expects of the module's
// settings and call-mode fields. Only the component (and a host or test
// standing in for it) reaches it here; everything below is handed it.
struct Session;

Session &componentSession();
// Closes its connections and puts every field back to its value before
// start-up (tests).
void resetComponentSession();

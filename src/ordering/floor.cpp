// Keeps this floor a library while its first sources are on their way.

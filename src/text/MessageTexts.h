// The catalogue's built-in English texts, and the steps of the load list that build and
// destroy its cache. Internal to the library.
#pragma once

struct MessageTableRow {
    unsigned int id;
    const char* text;  // null in the row that ends the table
};

// Unsorted; searched from the first row on.
extern const MessageTableRow _messageTable[];

// Load steps of the cache's lock, the cache and its search key, and their unload actions.
void BuildMessageCacheLock();
void DestroyMessageCacheLock();
void BuildMessageCache();
void DestroyMessageCache();
void BuildMessageProbe();
void DestroyMessageProbe();

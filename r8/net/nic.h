#pragma once

// Test 11 and the full run's network step: link, duplex and speed of every interface but the PoE switch's,
// through ethtool requests, then the MAC lines. A card that is down, unreadable or not at 1000 Mbit/s sets
// runResults.networkFailed. 0, or -1 with a message when there is no socket to ask through.
int r8_net_test();

// Prints the MAC addresses of cards 1 to iNetCardNum (at most 2) from bootParams, and an empty line, on
// standard output in both modes. 0, or -1 with a message for a higher number.
int r8_net_print_mac(int iNetCardNum);

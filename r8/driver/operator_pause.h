#pragma once

// Waits a second before a step, so that the operator can get ready; Enter cuts it short. What is typed is
// taken off standard input and dropped.
void pauseForOperator();

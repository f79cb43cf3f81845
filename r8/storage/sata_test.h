#pragma once

// Test 8 and the full run's SATA step: asks the drive on every port that boardConfig knows for its identity
// and capacity and emits them. Rebuilds runResults.sataFailedMask (internal ports only) and adds the drives
// found to runResults.sataFoundCount. Sets boardConfig.esataPortCount to 2 on boards with 16 internal ports.
void sataPortTest();

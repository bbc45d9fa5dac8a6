// Mono with crash capture; its benign faults are reads through null.
using System;
using System.Runtime.InteropServices;

class Neighbour {
  [DllImport("neighbour_shim")]
  static extern int NeighbourNextStep();

  class Box {
    public int Value;
  }

  static bool ReadNull(Box nothing) {
    try {
      return nothing.Value < 0;
    } catch (NullReferenceException) {
      return true;
    }
  }

  static void Main() {
    while (NeighbourNextStep() != 0) {
      for (int i = 0; i < 10000; ++i) {
        if (!ReadNull(null)) Environment.Exit(50);
      }
      Console.Error.WriteLine("10000 faults were benign");
    }
  }
}

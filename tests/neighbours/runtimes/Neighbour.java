// A JVM with crash capture; run with -Xint, where each read through null is a fault.
class Neighbour {
  static final int FAULTS = 10000;

  static native int nextStep();

  static boolean readNull(int[] nothing) {
    try {
      return nothing.length < 0;
    } catch (NullPointerException e) {
      return true;
    }
  }

  static void raiseBenignFaults() {
    for (int i = 0; i < FAULTS; ++i) {
      if (!readNull(null)) System.exit(50);
    }
    System.err.println("10000 faults were benign");
  }

  public static void main(String[] arguments) {
    System.load(System.getenv("NEIGHBOUR_SHIM"));
    while (nextStep() != 0) raiseBenignFaults();
  }
}

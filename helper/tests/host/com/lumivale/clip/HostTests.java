package com.lumivale.clip;

import java.util.ArrayList;
import java.util.List;

// Runs the helper's host tests: the protocol through a running helper, and the reflection
// over every known form of the clipboard service. Usage: HostTests HELPER_CLASSPATH
public final class HostTests {
  interface Case {
    void run() throws Exception;
  }

  private static final List<String> names = new ArrayList<String>();
  private static final List<Case> cases = new ArrayList<Case>();

  static void add(String name, Case test) {
    names.add(name);
    cases.add(test);
  }

  static void check(boolean condition, String what) {
    if (!condition) throw new AssertionError(what);
  }

  static void checkEqual(Object expected, Object actual) {
    if (expected == null ? actual != null : !expected.equals(actual))
      throw new AssertionError("expected <" + expected + "> but was <" + actual + ">");
  }

  public static void main(String[] args) throws Exception {
    ProtocolTests.register(args[0]);
    ReflectionTests.register();
    int passed = 0;
    int failed = 0;
    for (int i = 0; i < cases.size(); ++i) {
      try {
        cases.get(i).run();
        ++passed;
        System.out.println("ok " + names.get(i));
      } catch (Throwable e) {
        ++failed;
        System.out.println("FAILED " + names.get(i) + ": " + e);
        e.printStackTrace(System.out);
      }
    }
    System.out.println(passed + " passed, " + failed + " failed");
    System.exit(failed == 0 ? 0 : 1);
  }
}

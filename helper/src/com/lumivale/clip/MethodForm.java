package com.lumivale.clip;

import java.lang.reflect.Method;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.List;

// One hidden method taken by name, whatever its parameter list: after an optional leading
// argument, the first String is the calling package and the rest are filled by type
// (other Strings null, numbers 0 for user and device, booleans false).
final class MethodForm {
  final Method method;
  private final String callingPackage;

  private MethodForm(Method method, String callingPackage) {
    this.method = method;
    this.callingPackage = callingPackage;
  }

  // The usable form of `name` on `type` whose first parameter takes `leading` (none when
  // null), or a ClipboardException naming the forms that were found.
  static MethodForm find(Class<?> type, String name, Class<?> leading, String callingPackage)
      throws ClipboardException {
    List<Method> found = new ArrayList<Method>();
    for (Method method : type.getMethods())
      if (method.getName().equals(name)) found.add(method);
    Method[] sorted = found.toArray(new Method[0]);
    Arrays.sort(sorted, new Comparator<Method>() {
      @Override
      public int compare(Method a, Method b) {
        return signature(a).compareTo(signature(b));
      }
    });
    for (Method method : sorted)
      if (fits(method.getParameterTypes(), leading)) return new MethodForm(method, callingPackage);
    StringBuilder names = new StringBuilder();
    for (Method method : sorted)
      names.append(names.length() == 0 ? "" : ", ").append(signature(method));
    throw new ClipboardException("no usable form of IClipboard." + name
        + (sorted.length == 0 ? ": none found" : ": found " + names));
  }

  Object invoke(Object target, Object leadingArgument) throws Exception {
    Class<?>[] types = method.getParameterTypes();
    Object[] arguments = new Object[types.length];
    int start = 0;
    if (leadingArgument != null) arguments[start++] = leadingArgument;
    boolean packageGiven = false;
    for (int i = start; i < types.length; ++i) {
      Class<?> t = types[i];
      if (t == String.class) {
        arguments[i] = packageGiven ? null : callingPackage;
        packageGiven = true;
      } else if (t == int.class) {
        arguments[i] = 0;
      } else if (t == long.class) {
        arguments[i] = 0L;
      } else if (t == boolean.class) {
        arguments[i] = false;
      }
    }
    return method.invoke(target, arguments);
  }

  private static boolean fits(Class<?>[] types, Class<?> leading) {
    int start = 0;
    if (leading != null) {
      if (types.length == 0 || !types[0].isAssignableFrom(leading)) return false;
      start = 1;
    }
    if (types.length <= start || types[start] != String.class) return false;
    for (int i = start; i < types.length; ++i) {
      Class<?> t = types[i];
      if (t != String.class && t != int.class&& t != long.class&& t != boolean.class) return false;
    }
    return true;
  }

  static String signature(Method method) {
    StringBuilder text = new StringBuilder(method.getName()).append('(');
    Class<?>[] types = method.getParameterTypes();
    for (int i = 0; i < types.length; ++i)
      text.append(i == 0 ? "" : ", ").append(types[i].getSimpleName());
    return text.append(')').toString();
  }
}

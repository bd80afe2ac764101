package COM.orvel.OAPI;

import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;

import COM.orvel.OAPI.Native.AbstractNativeOAPI;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;

/** Every native on null handles: usage and the failure value of its kind, through Java. */
public final class ContractTest {
  private ContractTest() {}

  /** Natives without a handle to refuse, or whose null is a valid request. */
  static final Set<String> NO_HANDLE = Set.of(
      "orvErrorCode", "orvErrorDescription", "orvINFINITY", "orvGetClock", "orvNumberMakeExpression",
      "orvBooleanMakeExpression", "orvGetAPIID", "orvGetBuildID", "orvGetROOTID", "orvSetUpAndRunning",
      "orvSetNotRunning", "orvNewLicense", "orvGetOrganization", "orvGetUserName", "orvGetPackageName",
      "orvGetSupportExpirationDate", "orvStringParseExpression", "orvNewDataSet");

  /** Failure values of the enumeration getters and the coordinates; other int natives return status 1. */
  static final java.util.Map<String, Integer> INT_FAILURES = java.util.Map.of(
      "orvNodeGetCategory", 0, "orvNodeGetKind", 2, "orvNodeGetSubtype", 0, "orvExpressionGetOperator", 118,
      "orvNodeGetXCoordinate", 0, "orvNodeGetYCoordinate", 0, "orvNodeGetEdgeConstraint", 107);

  static Object zero(java.lang.Class<?> type) {
    if (type == long.class) return 0L;
    if (type == int.class) return 0;
    if (type == double.class) return 0.0;
    if (type == boolean.class) return false;
    if (type == char.class) return ',';
    return null;
  }

  public static void testEveryNativeRefusesNullHandles() throws Exception {
    AbstractNativeOAPI api = new AbstractNativeOAPI() {};
    List<String> wrong = new ArrayList<>();
    int count = 0;
    for (Method m : AbstractNativeOAPI.class.getDeclaredMethods()) {
      if (!Modifier.isNative(m.getModifiers()) || NO_HANDLE.contains(m.getName())) continue;
      java.lang.Class<?>[] types = m.getParameterTypes();
      Object[] args = new Object[types.length];
      for (int i = 0; i < types.length; i++) args[i] = zero(types[i]);
      Object result = m.invoke(api, args);
      count++;
      int code = api.orvErrorCode();
      java.lang.Class<?> r = m.getReturnType();
      String name = m.getName();
      boolean logarithm = name.contains("Log") && !name.endsWith("Tolerance")
          || name.endsWith("AIC") || name.endsWith("BIC");
      boolean failureValue = r == int.class ? result.equals(INT_FAILURES.getOrDefault(name, 1))
          : r == double.class ? result.equals(logarithm ? 1.0 : -1.0)
          : r == boolean.class ? result.equals(false)
          : r == long.class ? result.equals(0L) || result.equals(-1L)
          : r == void.class || result == null;
      if (code != 1 || !failureValue) wrong.add(m.getName() + " -> " + result + " (error " + code + ")");
    }
    check(count > 200, "natives swept: " + count);
    equal(List.of(), wrong, "natives not refusing null handles");
  }
}

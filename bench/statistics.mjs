/** The value that so much of the sample does not exceed; `part` from 0 to 1. */
export function quantile(values, part) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor(part * sorted.length))];
}

export const median = (values) => quantile(values, 0.5);

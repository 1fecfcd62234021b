import js from '@eslint/js';
import { defineConfig, globalIgnores } from 'eslint/config';
import tseslint from 'typescript-eslint';

export default defineConfig(
  globalIgnores(['dist/']),
  js.configs.recommended,
  {
    files: ['**/*.ts'],
    extends: [tseslint.configs.strictTypeChecked, tseslint.configs.stylisticTypeChecked],
    languageOptions: { parserOptions: { projectService: true } },
    rules: {
      '@typescript-eslint/restrict-template-expressions': ['error', { allowNumber: true }],
      '@typescript-eslint/no-confusing-void-expression': ['error', { ignoreArrowShorthand: true }],
      complexity: ['error', 12],
      'max-lines-per-function': ['error', 60],
    },
  },
  {
    files: ['tests/**/*.ts'],
    rules: {
      // What node:test answers is for those who run tests within tests.
      '@typescript-eslint/no-floating-promises': ['error', { allowForKnownSafeCalls: ['test', 'describe', 'it'] }],
      'max-lines-per-function': 'off',
    },
  },
);
